#ifndef HOST_MEDIA_SHOWNURL_H
#define HOST_MEDIA_SHOWNURL_H

#include <string>

/// What people may see of the address of an input. Whatever shows a text that may be one takes it through here, whether
/// or not it turns out to be one. Texts are UTF-8, or meant to be; results are. All operations are thread-safe.
namespace ShownUrl {

/// @return whether @p text looks like an address or has one in it: a scheme, a colon and a slash, or the scheme of a
///         network protocol and a colon, as in "rtsp://host", "a b=rtsp://host", "rtsp:/host" and "rtsp:host"; or what
///         lacks its colon or its scheme, and has a user in it, as "rtsp//user@host" and "user:password@host/x".
[[nodiscard]] bool isAddress(const std::string &text);

/// @return @p text with "***" for user name and password, for what stands behind a question mark or a number sign, and
///         for what follows the application in an RTMP address, its stream key, and for the values in its path that
///         are called password, pwd, token, key, auth or the like; what does not look like an address as
///         it is. Passwords with slashes and question marks in them make no valid address, but people write them: where
///         a colon comes before an @, everything before the last @ is hidden, be it too much.
[[nodiscard]] std::string withoutSecrets(const std::string &text);

/// @return the sentence @p text, each word of it that has an address in it withoutSecrets.
[[nodiscard]] std::string inSentence(const std::string &text);

/// @return what tells inputs apart, without anything secret: of an address, its host and its path. What does not look
///         like an address as it is.
[[nodiscard]] std::string place(const std::string &url);

} // namespace ShownUrl

#endif
