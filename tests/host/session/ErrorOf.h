#ifndef TESTS_HOST_SESSION_ERROROF_H
#define TESTS_HOST_SESSION_ERROROF_H

#include <string>

#include <decoding/Error.h>

/// @return the text of the decoding::Error that @p call throws; empty when it throws none.
template <class Call>
std::string errorOf(const Call &call)
{
    try {
        call();
    } catch (const decoding::Error &error) {
        return error.what();
    }
    return {};
}

#endif
