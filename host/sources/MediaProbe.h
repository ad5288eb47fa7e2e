#ifndef HOST_SOURCES_MEDIAPROBE_H
#define HOST_SOURCES_MEDIAPROBE_H

#include <QString>

#include <chrono>
#include <string>
#include <variant>
#include <vector>

#include "sources/InputAccess.h"
#include "sources/StreamDescription.h"

/// What a media file holds, for people who want to know before they decode it.
struct MediaProbe {
    std::string container;              // short names of the format, separated by commas
    std::chrono::milliseconds duration; // negative when unknown
    std::vector<StreamDescription> streams;
    int videoIndex = -1; // of the streams that a source would deliver; -1: none can be decoded
    int audioIndex = -1;

    /// Opens @p url and looks; blocks for 10 seconds at most. Thread-safe.
    /// @return what was found, or one line that names @p url and says what is wrong with it.
    [[nodiscard]] static std::variant<MediaProbe, std::string> of(const std::string &url,
                                                                  const InputAccess &access = {});
};

#endif
