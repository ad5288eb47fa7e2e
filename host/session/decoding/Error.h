#ifndef DECODING_ERROR_H
#define DECODING_ERROR_H

#include <stdexcept>

#include <decoding/Export.h>

namespace decoding {

/// What the library throws: its text, one line of UTF-8, names the culprit and says what is wrong or what to do.
class DECODING_EXPORT Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    Error(const Error &) = default;
    Error &operator=(const Error &) = default;
    ~Error() override;
};

} // namespace decoding

#endif
