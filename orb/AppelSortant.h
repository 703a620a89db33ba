#ifndef APPELSORTANT_H
#define APPELSORTANT_H

namespace orix::orb {

/// A call that leaves this process, while it is being made: the ORB is not destroyed under it. Calls of one
/// thread may be inside one another.
#pragma GCC visibility push(default)
class AppelSortant
{
  public:
    AppelSortant(); ///< throws CORBA::BAD_INV_ORDER once the ORB is ending
    ~AppelSortant();
    AppelSortant(const AppelSortant&) = delete;
    AppelSortant& operator=(const AppelSortant&) = delete;
};
#pragma GCC visibility pop

/// For the beginning and the end of the ORB; the second waits for the calls that are being made.
void ouvrirAppelsSortants() noexcept;
void fermerAppelsSortants();

} // namespace orix::orb

#endif
