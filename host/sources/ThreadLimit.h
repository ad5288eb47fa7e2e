#ifndef HOST_SOURCES_THREADLIMIT_H
#define HOST_SOURCES_THREADLIMIT_H

#include <string>
#include <system_error>

/// @return why a source does not read, which was given @p error in place of a thread.
inline std::string noThreadToRead(const std::system_error &error)
{
    return std::string("there is no thread to read it: the system allows no more (ulimit -u, or the limit of a "
                       "container): ") +
           error.what();
}

#endif
