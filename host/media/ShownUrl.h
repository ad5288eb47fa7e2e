#ifndef HOST_MEDIA_SHOWNURL_H
#define HOST_MEDIA_SHOWNURL_H

#include <QString>

/// What people may see of the address of an input. All operations are thread-safe.
namespace ShownUrl {

/// @return @p url without user name and password, and without the values of such parameters as `passphrase` and
///         `token`; a file's path as it is. Passwords with slashes and question marks in them make no valid url, but
///         people write them: where a colon comes before an @, everything before the last @ is hidden, be it too much.
[[nodiscard]] QString withoutSecrets(const QString &url);

/// @return what tells inputs apart, withoutSecrets: a url without its scheme and its parameters.
[[nodiscard]] QString place(const QString &url);

} // namespace ShownUrl

#endif
