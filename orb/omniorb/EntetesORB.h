#ifndef ENTETESORB_H
#define ENTETESORB_H

/// The standard C++ mapping, as this ORB has it: object references, object adapters, servants.
#include <omniORB4/CORBA.h>

#endif
