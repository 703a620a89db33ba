#ifndef TRAFIC_H
#define TRAFIC_H

#include "orix/Exportation.h"

/// A client of the cdv service under way: threads that send requests without a pause, the notifications that
/// answer them, pings in both directions. In C: also reached by name, in a module loaded at run time.
extern "C" {

/// Starts the middleware and the client on the server of that kernel; returns once all of it flows. Ends the
/// process with status 3 when it does not come to that.
ORIX_API void etablirTrafic(const char* urlNoyau);
/// Waits until as many answers have come again; ends the process with status 3 when they do not.
ORIX_API void attendreReponses();
/// Ends the threads that send: nobody is inside the facade any more. What was sent goes on being answered.
ORIX_API void cesserRequetes();
/// The end as it should be: no request any more, client destroyed, middleware stopped. Returns the status.
ORIX_API int arreterTrafic();
/// Has the action run inside one of the next callbacks; returns when it begins.
ORIX_API void pendantUnCallback(void (*action)());
}

#endif
