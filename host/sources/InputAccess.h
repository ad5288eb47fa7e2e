#ifndef HOST_SOURCES_INPUTACCESS_H
#define HOST_SOURCES_INPUTACCESS_H

#include <map>
#include <string>

/// How an input is opened, beside its address.
struct InputAccess {
    /// libavformat's own options, by their names.
    std::map<std::string, std::string> options;
};

#endif
