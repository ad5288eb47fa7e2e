#ifndef HOST_SINKS_OUTPUTPLACE_H
#define HOST_SINKS_OUTPUTPLACE_H

#include <memory>
#include <optional>
#include <string>

#include "media/InputFiles.h"
#include "sinks/OutputFile.h"
#include "sinks/WriteWatch.h"

/// Where the output files of one stream go.
struct OutputPlace {
    std::string base;                              // path of the files up to the end of the stem
    std::shared_ptr<const InputFiles> inputs = {}; // must not be written to; may be null
    /// What files that are there already are to it: of a live input, what cannot be made again.
    OutputFile::Existing existing = OutputFile::Existing::Replace;
    bool isStandardOutput = false; // in place of files; the base says nothing then
    std::shared_ptr<WriteWatch> watch = std::make_shared<WriteWatch>();

    /// @return the path of the file with @p ending, or what else people call it.
    [[nodiscard]] std::string name(const std::string &ending) const;
    /// @return one line that names the file when @p path must not be written to.
    [[nodiscard]] std::optional<std::string> refusal(const std::string &path) const;
    /// Makes the directory of the files, where it is missing. @return what is wrong.
    [[nodiscard]] std::optional<std::string> createDirectory() const;
};

#endif
