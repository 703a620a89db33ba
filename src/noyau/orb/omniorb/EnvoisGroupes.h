#ifndef ENVOISGROUPES_H
#define ENVOISGROUPES_H

namespace orix::orb {

/// Gathers the messages of a burst in one write, on the TCP connections that this process opens from now on,
/// until the ORB that exists is destroyed. A message alone, or one of the first few of a burst, leaves at
/// once, on its caller's thread; the later ones wait, in order, until there are enough of them or some tens
/// of microseconds have passed. A write that fails after its callers have gone on is told to the next one, as
/// when the system's own buffer is lost.
void grouperEnvois();

/// Ends the thread that sends what waits. Only once no connection is open any more.
void arreterEnvoisGroupes();

} // namespace orix::orb

#endif
