#ifndef ENVOISGROUPES_H
#define ENVOISGROUPES_H

namespace orix::orb {

/// Gathers the writes of a burst in one, on the TCP connections that this process opens from now on, until
/// the ORB that exists is destroyed. A message alone, or one of the first few of a burst, leaves at once, on
/// its caller's thread; the later ones wait, in order, until there are enough of them or some tens of
/// microseconds have passed. Once callers have gone on, a write that fails is as a loss in the system's own
/// buffer: the next message may find out, none is sent twice.
void grouperEnvois();

/// Ends the thread that sends what waits. Only once no connection is open any more.
void arreterEnvoisGroupes();

} // namespace orix::orb

#endif
