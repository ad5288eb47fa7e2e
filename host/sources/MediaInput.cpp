#include "sources/MediaInput.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

#include "media/FfmpegError.h"
#include "media/ShownUrl.h"
#include "media/ThreadTime.h"
#include "sources/InputFile.h"
#include "sources/Outage.h"
#include "sources/StreamSearch.h"

namespace {

constexpr std::chrono::seconds fileOpenLimit{10};

/// So long a live source may be computed for until there is a stream: many times what real ones take.
constexpr std::chrono::seconds formatLimit{1};

/// Enough for the streams beside one that cannot be decoded.
constexpr qint64 undecodableAnalysisUs = 250'000;

std::string message(const std::string &url, const std::string &what)
{
    return ShownUrl::withoutSecrets(url) + ": " + what;
}

} // namespace

MediaInput::MediaInput(const std::atomic<bool> &stopRequested, std::chrono::milliseconds openLimit)
    : _stopRequested(stopRequested)
    , _deadline(std::chrono::steady_clock::now() + openLimit)
    , _parts([this] { return isToEnd(); })
{
}

MediaInput::~MediaInput()
{
    _parts.detach();
    avformat_close_input(&_context);
    avio_closep(&_connection);
}

std::variant<std::unique_ptr<MediaInput>, std::string> MediaInput::open(const std::string &url,
                                                                        const InputAccess &access,
                                                                        const std::atomic<bool> &stopRequested,
                                                                        const std::atomic<bool> *abandoned)
{
    // Nothing else can be read from its beginning once more.
    const std::optional<std::string> path = InputFile::pathOf(url);
    std::error_code error;
    const bool mayOpenAgain = path && std::filesystem::is_regular_file(*path, error);
    auto opened = openOnce(url, access, stopRequested, abandoned, mayOpenAgain);
    const auto *const input = std::get_if<std::unique_ptr<MediaInput>>(&opened);
    if (input && (*input)->_isToBeOpenedAgain) {
        opened = std::string(); // gives its descriptor back first
        opened = openOnce(url, access, stopRequested, abandoned, false);
    }
    return opened;
}

std::variant<std::unique_ptr<MediaInput>, std::string>
MediaInput::openOnce(const std::string &url, const InputAccess &access, const std::atomic<bool> &stopRequested,
                     const std::atomic<bool> *abandoned, bool mayOpenAgain)
{
    const std::optional<std::string> path = InputFile::pathOf(url);
    if (const auto obstacle = path ? InputFile::obstacle(*path) : std::nullopt)
        return message(url, *obstacle);

    std::unique_ptr<MediaInput> input(new MediaInput(stopRequested, fileOpenLimit));
    input->_abandoned = abandoned;
    FormatOptions options(access.options);
    if (path)
        input->guardReferences(*path, access.mayNameAnything, options);
    const int result = input->openContext(url, options, mayOpenAgain);
    const bool wasAbandoned = input->isAbandoned();
    input->endOpening();
    if (wasAbandoned)
        return message(url, "opening it was abandoned");
    if (input->_deadlinePassed)
        return message(url, "gave up opening it after " + std::to_string(fileOpenLimit.count()) + " s");
    if (const auto wrong = input->wrongOption(options))
        return message(url, *wrong);
    if (result < 0 && !input->_parts.refusal().empty())
        return message(url, input->_parts.refusal());
    if (result < 0 && path && input->_messages.hasRefusedFormat())
        return message(url, "what it is may name any file and address; references=anywhere allows that");
    if (result < 0 && path && InputFile::beginsWith(*path, LiveUrl::descriptionBegin))
        return message(url, "this is a session description; to receive what it describes, name it sdp:FILE");
    if (result == AVERROR_INVALIDDATA)
        return message(url, "this is no media file, or it is damaged at its beginning: " + ffmpegErrorText(result));
    if (result < 0)
        return message(url, "cannot be opened: " + ffmpegErrorText(result));
    // Any text can be drawn as the picture of a text terminal, but nobody means that.
    if (input->container() == "tty")
        return message(url, "this is a text file, not media");
    return input;
}

std::variant<std::unique_ptr<MediaInput>, MediaInput::Failure>
MediaInput::openLive(const LiveUrl &url, std::chrono::milliseconds limit, Instant end,
                     const std::atomic<bool> &stopRequested)
{
    if (const auto obstacle = url.obstacle())
        return Failure{url.path() ? AVERROR(ENOENT) : AVERROR(EINVAL), *obstacle};
    std::unique_ptr<MediaInput> input(new MediaInput(stopRequested, limit));
    input->_end = end;
    FormatOptions options(url.access().options);
    if (url.path() && !url.isDescription())
        input->guardReferences(*url.path(), url.access().mayNameAnything, options);
    const int result = input->openLiveContext(url, limit, options);
    input->endOpening();
    if (input->_deadlinePassed)
        return Failure{AVERROR(ETIMEDOUT), "nothing came within " + Outage::seconds(limit)};
    if (const auto wrong = input->wrongOption(options))
        return Failure{AVERROR_OPTION_NOT_FOUND, *wrong};
    if (result < 0 && !input->_parts.refusal().empty())
        return Failure{AVERROR(ENOENT), input->_parts.refusal()};
    if (result < 0)
        return Failure{result, "cannot be opened: " + ffmpegErrorText(result)};
    return input;
}

/// @return what is wrong with the options that the user asked for, in words that go behind a name.
std::optional<std::string> MediaInput::wrongOption(const FormatOptions &options) const
{
    if (_refusedOptions)
        return "libavformat takes no option \"" + *_refusedOptions + "\" for this input";
    if (!isOpen() && options.isAsked() && !_messages.wrongValue().empty())
        return "an option is wrong: " + _messages.wrongValue();
    return std::nullopt;
}

/// Keeps the local file at @p path from naming anything but what lies beside it, unless it may.
void MediaInput::guardReferences(const std::string &path, bool mayNameAnything, FormatOptions &options)
{
    if (mayNameAnything) {
        options.set("protocol_whitelist", "file,crypto,data,http,https,httpproxy,tcp,tls");
        return;
    }
    _parts.guard(path);
    // These open what they name in a way of their own.
    options.set("format_whitelist", FormatOptions::formatsBut({"dash"}));
}

bool MediaInput::makeContext()
{
    _context = avformat_alloc_context();
    if (_context)
        _parts.attach(*_context);
    return _context != nullptr;
}

void MediaInput::endOpening()
{
    _abandoned = nullptr;
    _deadline = Instant::max();
}

int MediaInput::openLiveContext(const LiveUrl &url, std::chrono::milliseconds limit, FormatOptions &options)
{
    if (!makeContext())
        return AVERROR(ENOMEM);
    if (url.needsFormat() && !url.format())
        return AVERROR_DEMUXER_NOT_FOUND;
    // libavdevice cannot interrupt a device that it waits for.
    if (url.isDevice())
        _context->flags |= AVFMT_FLAG_NONBLOCK;
    for (const LiveUrl::Option &option : url.options())
        options.set(option.name, option.value);
    const FfmpegMessages::Listening listening(_messages, _context);
    const int result = url.isServer() ? openServer(url, limit, options) : 0;
    return result < 0 ? result : openFormat(url, options);
}

/// Waits for a caller, however long that takes.
int MediaInput::openServer(const LiveUrl &url, std::chrono::milliseconds limit, FormatOptions &options)
{
    _deadline = _end;
    const int result = avio_open2(&_connection, url.name().c_str(), AVIO_FLAG_READ, &_context->interrupt_callback,
                                  options.dictionary());
    _deadline = std::min(std::chrono::steady_clock::now() + limit, _end);
    _context->pb = _connection;
    return result;
}

int MediaInput::openFormat(const LiveUrl &url, FormatOptions &options)
{
    // What is generated may be anything.
    if (!url.isGenerated())
        _mayComputeUntil = ThreadTime::now() + formatLimit;
    int result = openInput(url.name(), url.format(), options);
    if (result == AVERROR_EXIT && isFlooded())
        result = AVERROR_INVALIDDATA;
    if (result >= 0 && !url.isDevice()) {
        // To find out more about a stream without a decoder is in vain, and would take five seconds of it.
        if (undecodableStream(AVMEDIA_TYPE_VIDEO) || undecodableStream(AVMEDIA_TYPE_AUDIO))
            _context->max_analyze_duration = undecodableAnalysisUs;
        result = avformat_find_stream_info(_context, nullptr);
    }
    _mayComputeUntil.reset();
    return result;
}

int MediaInput::openInput(const std::string &name, const AVInputFormat *format, FormatOptions &options)
{
    const int result = avformat_open_input(&_context, name.c_str(), format, options.dictionary());
    if (result >= 0)
        _refusedOptions = options.refused();
    return _refusedOptions ? AVERROR_OPTION_NOT_FOUND : result;
}

/// Whether much was computed, and no stream was found in it.
bool MediaInput::isFlooded() const
{
    return _mayComputeUntil && (!_context || _context->nb_streams == 0) && ThreadTime::now() >= *_mayComputeUntil;
}

int MediaInput::openContext(const std::string &url, FormatOptions &options, bool mayOpenAgain)
{
    if (!makeContext())
        return AVERROR(ENOMEM);
    // As the ffmpeg tool does: it decides which streams of a broadcast recording there are.
    options.set("scan_all_pmts", "1");
    options.set("m3u8_hold_counters", std::to_string(MediaParts::mostPauses));
    // What is found out about the streams may be all of a short playlist.
    const FfmpegMessages::Listening listening(_messages, _context);
    const int result = openInput(InputFile::nameOf(url), nullptr, options);
    if (result < 0)
        return result;
    StreamSearch search(mayOpenAgain);
    const int found = search.run(*_context);
    _isToBeOpenedAgain = search.wasMisled();
    return found;
}

/// Asked while libavformat waits.
bool MediaInput::isToEnd()
{
    if (_deadline != Instant::max() && std::chrono::steady_clock::now() >= _deadline)
        _deadlinePassed = true;
    return isFlooded() || _deadlinePassed || isAbandoned() || _stopRequested.load(std::memory_order_relaxed);
}

int MediaInput::read(AVPacket *packet)
{
    const FfmpegMessages::Listening listening(_messages, _context);
    _parts.beginRead();
    const int result = av_read_frame(_context, packet);
    const std::optional<std::string> cutOff = _parts.takeCutOff();
    _noticedCutOff = cutOff.has_value();
    if (cutOff && _cutOffPart.empty())
        _cutOffPart = *cutOff;
    if (result < 0 && hasTimedOut())
        return AVERROR(ETIMEDOUT);
    // Some demuxers take any failure to read the file for its end.
    const bool hidesError = result == AVERROR_EOF && _context->pb && _context->pb->error < 0;
    return hidesError ? _context->pb->error : result;
}

double MediaInput::readPart() const
{
    const qint64 size = _context->pb ? avio_size(_context->pb) : 0;
    return size > 0 ? qBound(0.0, static_cast<double>(avio_tell(_context->pb)) / static_cast<double>(size), 1.0) : 0.0;
}
