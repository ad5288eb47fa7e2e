#ifndef HOST_SOURCES_INPUTACCESS_H
#define HOST_SOURCES_INPUTACCESS_H

#include <chrono>
#include <map>
#include <string>

/// How an input is opened, beside its address.
struct InputAccess {
    /// libavformat's own options, by their names.
    std::map<std::string, std::string> options;
    /// Whether a playlist that is a local file may name any file and address, and not only what lies beside it.
    bool mayNameAnything = false;
    /// How long a caller may say nothing that has not introduced itself yet.
    std::chrono::milliseconds callerLimit{10'000};
};

#endif
