// Reporting from inside the library.  Every report names the exported
// function, a context text (usually the failed condition) and the source
// file and line of the report, which VRN_REPORT fills in.
#pragma once

#include "vrn.h"

#define VRN_REPORT(status, func, text) ::vrnError((status), (func), (text), __FILE_NAME__, __LINE__)

// A report whose source name is fixed by the operation rather than the file.
#define VRN_REPORT_FROM(source, status, func, text) ::vrnError((status), (func), (text), (source), __LINE__)
