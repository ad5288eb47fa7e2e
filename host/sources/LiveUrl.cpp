#include "sources/LiveUrl.h"

#include <QLibrary>
#include <QRegularExpression>
#include <QStringList>

#include <utility>

#include "media/ShownUrl.h"
#include "sources/InputFile.h"
#include "sources/MediaParts.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace {

const QRegularExpression &schemePattern()
{
    static const QRegularExpression pattern(
        QStringLiteral("^(?:(rtsps?|s?rtp|udp|srt|rtmps?|tcp)://|(lavfi|v4l2|sdp|hls):|(live):https?://)"),
        QRegularExpression::CaseInsensitiveOption);
    return pattern;
}

std::string schemeOf(const std::string &url)
{
    const QRegularExpressionMatch match = schemePattern().match(QString::fromStdString(url));
    return (match.captured(1) + match.captured(2) + match.captured(3)).toLower().toStdString();
}

/// libavdevice brings window systems and sound servers with it, whose loading takes longer than decoding a short file.
/// So it is loaded for the first device only. @return null where it cannot be loaded.
const AVInputFormat *deviceFormat(const char *name)
{
    static const auto registerAll = reinterpret_cast<decltype(&avdevice_register_all)>(
        QLibrary::resolve(QStringLiteral("avdevice"), LIBAVDEVICE_VERSION_MAJOR, "avdevice_register_all"));
    static const bool registered = registerAll && (registerAll(), true);
    return registered ? av_find_input_format(name) : nullptr;
}

} // namespace

bool LiveUrl::isLive(const std::string &url)
{
    return !schemeOf(url).empty();
}

LiveUrl::LiveUrl(const std::string &url, InputAccess access)
    : _access(std::move(access))
    , _scheme(schemeOf(url))
    , _shown(ShownUrl::withoutSecrets(url))
{
    if (isOfDevice()) {
        _name = url.substr(_scheme.size() + 1);
        _format = deviceFormat(isDevice() ? "video4linux2" : "lavfi");
    } else if (isDescription() || isPlaylist() || _scheme == "live") {
        const std::string source = url.substr(_scheme.size() + 1);
        _name = InputFile::nameOf(source);
        _path = InputFile::pathOf(source);
        _format = _scheme == "live" ? nullptr : av_find_input_format(_scheme.c_str());
    } else {
        // libavformat knows schemes in small letters only.
        _name = _scheme + url.substr(_scheme.size());
        const std::size_t query = url.find('?');
        _query = query == std::string::npos ? std::string() : url.substr(query + 1);
        // What would be taken for a part of the stream's name is an option.
        if (_scheme == "rtmp" && isServer())
            _name = _name.substr(0, query);
        // libavformat asks nothing but the address when it first listens.
        const auto interface = _access.options.find("localaddr");
        if (_scheme == "rtp" && interface != _access.options.end())
            _name += (query == std::string::npos ? "?localaddr=" : "&localaddr=") + interface->second;
    }
}

std::string LiveUrl::pathOf(const std::string &url)
{
    const std::string scheme = schemeOf(url);
    return scheme == "sdp" || scheme == "hls" ? url.substr(scheme.size() + 1) : url;
}

std::optional<std::string> LiveUrl::obstacle() const
{
    if (!_path)
        return lacksPort() ? std::optional<std::string>("cannot be opened: the address has no port") : std::nullopt;
    if (auto obstacle = InputFile::obstacle(*_path))
        return obstacle;
    if (isDescription() && !InputFile::beginsWith(*_path, descriptionBegin))
        return "this is no session description (SDP)";
    if (isPlaylist() && !InputFile::beginsWith(*_path, "#EXTM3U"))
        return "this is no playlist (M3U8)";
    return std::nullopt;
}

std::vector<LiveUrl::Option> LiveUrl::options() const
{
    if (isOfDevice())
        return {};
    std::vector<Option> options;
    // So long a group of pictures may be, to be found out about before it is delivered.
    options.push_back({"analyzeduration", "3000000"});
    // A burst that the system has no room for is lost. It gives less where less is allowed.
    options.push_back({"buffer_size", "1048576"});
    if (_scheme == "udp")
        options.push_back({"overrun_nonfatal", "1"});
    // A file may else name none but files, and a description names what nobody but it can.
    if (isDescription() && _path)
        options.push_back({"protocol_whitelist", "file,crypto,data,rtp,srtp,udp"});
    if (_scheme == "rtmp" && isServer()) {
        options.push_back({"listen", "1"});
        const auto limit = std::chrono::microseconds(_access.callerLimit).count();
        options.push_back({"rw_timeout", std::to_string(limit)});
    }
    if (isPlaylist() || _scheme == "live")
        options.push_back({"m3u8_hold_counters", std::to_string(MediaParts::mostPauses)});

    // Datagrams get lost; so over the connection unless the url says otherwise, in libavformat's own way.
    const QStringList parameters = QString::fromStdString(_query).split(QLatin1Char('&'));
    const bool choosesTransport = parameters.contains(QLatin1String("udp")) ||
                                  parameters.contains(QLatin1String("tcp")) ||
                                  parameters.contains(QLatin1String("multicast"));
    if (_scheme == "rtsp" && !choosesTransport)
        options.push_back({"rtsp_transport", "tcp"});
    return options;
}

bool LiveUrl::isHopeless(int error, bool hasConnected) const
{
    switch (error) {
    case AVERROR_PROTOCOL_NOT_FOUND:
    case AVERROR_DEMUXER_NOT_FOUND:
    case AVERROR_FILTER_NOT_FOUND:
    case AVERROR_OPTION_NOT_FOUND:
    case AVERROR_HTTP_UNAUTHORIZED:
    case AVERROR_HTTP_FORBIDDEN:
        return true;
    case AVERROR_HTTP_NOT_FOUND:
        return !hasConnected;
    case AVERROR(ENOENT):
        return _path && !hasConnected;
    case AVERROR(EINVAL):
        // A graph or an address that makes no sense. Elsewhere a server's answer may be meant.
        return isGenerated() || _scheme == "tcp" || _scheme == "srt" || lacksPort();
    default:
        return false;
    }
}

/// Of some protocols libavformat would take any port that is free, at which nothing ever comes.
bool LiveUrl::lacksPort() const
{
    static const QRegularExpression needsPort(QStringLiteral("^(udp|s?rtp|tcp|srt)://"));
    static const QRegularExpression port(
        QStringLiteral("^[a-z]+://([^/?#]*@)?(\\[[^]]*\\]|[^/?#:]*):\\d+([/?#]|$)|[?&]local(rtp)?port=\\d"));
    const QString text = QString::fromStdString(_name);
    return needsPort.match(text).hasMatch() && !port.match(text).hasMatch() &&
           _access.options.count("localport") + _access.options.count("local_rtpport") == 0;
}

bool LiveUrl::isListening() const
{
    return _scheme == "udp" || _scheme == "rtp" || _scheme == "srtp" || isDescription();
}

bool LiveUrl::isServer() const
{
    if (_scheme == "srt")
        return hasParameter("mode", "listener");
    return (_scheme == "tcp" || _scheme == "rtmp") && hasParameter("listen", "1");
}

/// Whether the address says so, be it by the name alone, or an option.
bool LiveUrl::hasParameter(const std::string &name, const std::string &value) const
{
    const auto option = _access.options.find(name);
    if (option != _access.options.end())
        return option->second == value;
    const QStringList parameters = QString::fromStdString(_query).split(QLatin1Char('&'));
    return parameters.contains(QString::fromStdString(name + '=' + value)) ||
           (value == "1" && parameters.contains(QString::fromStdString(name)));
}
