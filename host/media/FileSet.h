#ifndef HOST_MEDIA_FILESET_H
#define HOST_MEDIA_FILESET_H

#include <set>
#include <string>
#include <utility>

/// Files known by what they are, whichever paths lead to them. Reentrant.
class FileSet final {
public:
    /// Does nothing when there is no file at @p path.
    void add(const std::string &path);
    bool contains(const std::string &path) const;

private:
    std::set<std::pair<unsigned long long, unsigned long long>> _files; // device and number there
};

#endif
