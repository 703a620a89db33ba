// The ends that these programs come to leave threads behind, and one calls exit() in a signal handler: that
// is the fault, not a finding.
#include "orix/Exportation.h"

extern "C" ORIX_API const char* __tsan_default_options();
const char* __tsan_default_options() { return "report_thread_leaks=0:report_signal_unsafe=0"; }
