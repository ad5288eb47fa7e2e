#ifndef HOST_SESSION_REPORT_H
#define HOST_SESSION_REPORT_H

#include <string>

/// What people are to be told of an input.
struct Report {
    std::string text;     // one line that names it
    bool isError = false; // one of Snapshot::Input::errors
};

#endif
