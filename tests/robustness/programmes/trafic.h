#ifndef TRAFIC_H
#define TRAFIC_H

/// A client of the cdv service under way: threads that send requests without a pause, the notifications that
/// answer them, pings in both directions.

/// Starts the middleware and the client on the server of that kernel; returns once all of it flows. Ends the
/// process with status 3 when it does not come to that.
void etablirTrafic(const char* urlNoyau);
/// Ends the threads that send: nobody is inside the facade any more. What was sent goes on being answered.
void cesserRequetes();
/// The end as it should be: no request any more, client destroyed, middleware stopped. Returns the status.
int arreterTrafic();
/// Has the action run inside one of the next callbacks; returns when it begins.
void pendantUnCallback(void (*action)());

#endif
