#ifndef ORIX_INONCOPIABLE_H
#define ORIX_INONCOPIABLE_H

namespace orix {

/// Base of objects that have an identity: neither copied nor assigned.
class INonCopiable
{
  public:
    INonCopiable(const INonCopiable&) = delete;
    INonCopiable& operator=(const INonCopiable&) = delete;

  protected:
    INonCopiable() = default;
    ~INonCopiable() = default;
};

} // namespace orix

#endif
