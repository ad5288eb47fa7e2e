#ifndef HOST_SINKS_OUTPUTPLACE_H
#define HOST_SINKS_OUTPUTPLACE_H

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

/// Files known by what they are, whichever paths lead to them. Reentrant.
class FileSet final {
public:
    /// Does nothing when there is no file at @p path.
    void add(const std::string &path);
    void add(const FileSet &others);
    bool contains(const std::string &path) const;

private:
    std::set<std::pair<unsigned long long, unsigned long long>> _files; // device and number there
};

/// Where the output files of one stream go.
struct OutputPlace {
    std::string base;                           // path of the files up to the end of the stem
    std::shared_ptr<const FileSet> inputs = {}; // must not be written to; may be null

    /// @return one line that names the file when @p path must not be written to.
    [[nodiscard]] std::optional<std::string> refusal(const std::string &path) const;
};

#endif
