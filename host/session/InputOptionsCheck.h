#ifndef HOST_SESSION_INPUTOPTIONSCHECK_H
#define HOST_SESSION_INPUTOPTIONSCHECK_H

#include <string>

#include <decoding/Input.h>

namespace InputOptionsCheck {

/// @param input what people call the input.
/// @throws decoding::Error, which names the input and the field, when it cannot be decoded with @p options. Reentrant;
///         asks the file system where outputs of one kind go to different directories.
void check(const std::string &input, const decoding::InputOptions &options);

} // namespace InputOptionsCheck

#endif
