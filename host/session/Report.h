#ifndef HOST_SESSION_REPORT_H
#define HOST_SESSION_REPORT_H

#include <string>

/// What the session reports of an input to people.
struct Report {
    std::string text;     // one line that names it
    bool isError = false; // one of Snapshot::Input::errors
};

#endif
