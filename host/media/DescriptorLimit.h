#ifndef HOST_MEDIA_DESCRIPTORLIMIT_H
#define HOST_MEDIA_DESCRIPTORLIMIT_H

#include <string>

/// How many files a process may have open at once. All operations are thread-safe and wait for nothing.
namespace DescriptorLimit {

/// @return whether there is room for one more input. Some descriptors are kept free for the outputs of those that are
///         there, for control and for the rest of the program.
[[nodiscard]] bool hasRoomForInput();

/// @param error an errno. @return whether it says that the limit is reached, so that a later attempt may succeed.
[[nodiscard]] bool isReached(int error);

/// @param error an errno. @return what it means, with the name of the limit where that is reached.
[[nodiscard]] std::string text(int error);

} // namespace DescriptorLimit

#endif
