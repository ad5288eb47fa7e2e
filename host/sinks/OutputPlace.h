#ifndef HOST_SINKS_OUTPUTPLACE_H
#define HOST_SINKS_OUTPUTPLACE_H

#include <memory>
#include <optional>
#include <string>

#include "media/FileSet.h"

/// Where the output files of one stream go.
struct OutputPlace {
    std::string base;                           // path of the files up to the end of the stem
    std::shared_ptr<const FileSet> inputs = {}; // must not be written to; may be null

    /// @return one line that names the file when @p path must not be written to.
    [[nodiscard]] std::optional<std::string> refusal(const std::string &path) const;
};

#endif
