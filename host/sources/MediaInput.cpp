#include "sources/MediaInput.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <system_error>
#include <unistd.h>

#include "format/Fourcc.h"
#include "format/MediaBlock.h"
#include "media/FfmpegError.h"
#include "media/ShownUrl.h"
#include "media/ThreadTime.h"
#include <sys/stat.h>

namespace {

constexpr std::chrono::seconds fileOpenLimit{10};

/// So long a live source may be computed for until there is a stream: many times what real ones take.
constexpr std::chrono::seconds formatLimit{1};

/// Enough for the streams beside one that cannot be decoded.
constexpr qint64 undecodableAnalysisUs = 250'000;

// How messages begin, before their arguments are filled in, that nothing else tells of.
constexpr std::array<const char *, 1> missingDatagrams = {"RTP: missed "};
constexpr std::array<const char *, 4> missingParts = {
    "Failed to open segment ", "Failed to reload playlist ",
    "skipping %",              // segments that have left the list before they were read
    "Stream ends prematurely", // said by the connection that a segment comes over
};

template <std::size_t Count>
bool isOneOf(const std::array<const char *, Count> &beginnings, const char *message)
{
    return std::any_of(beginnings.begin(), beginnings.end(), [message](const char *beginning) {
        return std::strncmp(message, beginning, std::strlen(beginning)) == 0;
    });
}

/// The input that this thread is opening or reading.
thread_local MediaInput *reader = nullptr;

bool isLocal(const std::string &url)
{
    return url.find("://") == std::string::npos;
}

/// @return what libavformat knows @p url by: a scheme in small letters, and a file by its bytes.
std::string nameOf(const std::string &url)
{
    // Without the prefix, a file name with a colon in it would name a protocol.
    if (isLocal(url))
        return "file:" + url;
    std::string name = url;
    std::transform(
        name.begin(), name.begin() + static_cast<std::ptrdiff_t>(name.find("://")), name.begin(),
        [](char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter; });
    return name;
}

std::string message(const std::string &url, const std::string &what)
{
    return ShownUrl::withoutSecrets(url) + ": " + what;
}

/// What libavformat would say less clearly, or, of a pipe that nobody writes to, not at all.
std::optional<std::string> obviousObstacle(const std::string &fileName)
{
    // Qt would not know a file whose name is not UTF-8.
    struct stat file = {};
    if (stat(fileName.c_str(), &file) != 0 && (errno == ENOENT || errno == ENOTDIR))
        return "there is no such file";
    if (S_ISDIR(file.st_mode))
        return "this is a directory; name a media file in it";
    if (file.st_mode != 0 && !S_ISREG(file.st_mode))
        return "this is not a regular file";
    const int descriptor = ::open(fileName.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return "the file cannot be read: " + std::generic_category().message(errno);
    close(descriptor);
    if (file.st_size == 0)
        return "the file is empty";
    return std::nullopt;
}

std::string obstacleOf(const AVCodecParameters &parameters, quint32 fourcc)
{
    const bool wanted = parameters.codec_type == AVMEDIA_TYPE_VIDEO || parameters.codec_type == AVMEDIA_TYPE_AUDIO;
    if (!wanted)
        return "neither video nor audio";
    if (parameters.codec_id == AV_CODEC_ID_NONE)
        return "unknown codec";
    if (!avcodec_find_decoder(parameters.codec_id))
        return "no decoder for this codec";
    if (fourcc == 0 || !isKnownFourcc(fourcc, parameters.codec_type))
        return "the codec has no fourcc";
    return std::string();
}

} // namespace

MediaInput::MediaInput(const std::atomic<bool> &stopRequested, std::chrono::milliseconds openLimit)
    : _stopRequested(stopRequested)
    , _deadline(std::chrono::steady_clock::now() + openLimit)
{
    static const bool listening = (av_log_set_callback(takeMessage), true);
    Q_UNUSED(listening);
}

MediaInput::~MediaInput()
{
    avformat_close_input(&_context);
    avio_closep(&_connection);
}

std::variant<std::unique_ptr<MediaInput>, std::string>
MediaInput::open(const std::string &url, const std::atomic<bool> &stopRequested, const std::atomic<bool> *abandoned)
{
    if (isLocal(url)) {
        if (const std::optional<std::string> obstacle = obviousObstacle(url))
            return message(url, *obstacle);
    }

    std::unique_ptr<MediaInput> input(new MediaInput(stopRequested, fileOpenLimit));
    input->_abandoned = abandoned;
    const int result = input->openContext(url);
    const bool wasAbandoned = input->isAbandoned();
    input->endOpening();
    if (wasAbandoned)
        return message(url, "opening it was abandoned");
    if (input->_deadlinePassed)
        return message(url, "gave up opening it after " + std::to_string(fileOpenLimit.count()) + " s");
    if (result == AVERROR_INVALIDDATA)
        return message(url, "this is no media file, or it is damaged at its beginning: " + ffmpegErrorText(result));
    if (result < 0)
        return message(url, "cannot be opened: " + ffmpegErrorText(result));
    // Any text can be drawn as the picture of a text terminal, but nobody means that.
    if (input->container() == "tty")
        return message(url, "this is a text file, not media");
    return input;
}

std::variant<std::unique_ptr<MediaInput>, int> MediaInput::openLive(const LiveUrl &url, std::chrono::milliseconds limit,
                                                                    Instant end, const std::atomic<bool> &stopRequested)
{
    std::unique_ptr<MediaInput> input(new MediaInput(stopRequested, limit));
    input->_end = end;
    const int result = input->openLiveContext(url, limit);
    input->endOpening();
    if (input->_deadlinePassed)
        return AVERROR(ETIMEDOUT);
    if (result < 0)
        return result;
    return input;
}

bool MediaInput::makeContext()
{
    _context = avformat_alloc_context();
    if (_context)
        _context->interrupt_callback = {isInterrupted, this};
    return _context != nullptr;
}

void MediaInput::endOpening()
{
    _abandoned = nullptr;
    _deadline = Instant::max();
}

int MediaInput::openLiveContext(const LiveUrl &url, std::chrono::milliseconds limit)
{
    if (!makeContext())
        return AVERROR(ENOMEM);
    if ((url.isDevice() || url.isGenerated()) && !url.format())
        return AVERROR_DEMUXER_NOT_FOUND;
    // libavdevice cannot interrupt a device that it waits for.
    if (url.isDevice())
        _context->flags |= AVFMT_FLAG_NONBLOCK;
    AVDictionary *options = nullptr;
    for (const LiveUrl::Option &option : url.options())
        av_dict_set(&options, option.name, option.value, 0);
    int result = url.isServer() ? openServer(url, limit, &options) : 0;
    if (result >= 0)
        result = openFormat(url, &options);
    av_dict_free(&options);
    return result;
}

/// Waits for a caller, however long that takes.
int MediaInput::openServer(const LiveUrl &url, std::chrono::milliseconds limit, AVDictionary **options)
{
    _deadline = _end;
    const int result =
        avio_open2(&_connection, url.name().c_str(), AVIO_FLAG_READ, &_context->interrupt_callback, options);
    _deadline = std::min(std::chrono::steady_clock::now() + limit, _end);
    _context->pb = _connection;
    return result;
}

int MediaInput::openFormat(const LiveUrl &url, AVDictionary **options)
{
    // What is generated may be anything.
    if (!url.isGenerated())
        _mayComputeUntil = ThreadTime::now() + formatLimit;
    int result = avformat_open_input(&_context, url.name().c_str(), url.format(), options);
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

/// Whether much was computed, and no stream was found in it.
bool MediaInput::isFlooded() const
{
    return _mayComputeUntil && (!_context || _context->nb_streams == 0) && ThreadTime::now() >= *_mayComputeUntil;
}

int MediaInput::openContext(const std::string &url)
{
    if (!makeContext())
        return AVERROR(ENOMEM);
    // As the ffmpeg tool does: it decides which streams of a broadcast recording there are.
    AVDictionary *options = nullptr;
    av_dict_set(&options, "scan_all_pmts", "1", 0);
    // What is found out about the streams may be all of a short playlist.
    reader = this;
    int result = avformat_open_input(&_context, nameOf(url).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (result >= 0)
        result = avformat_find_stream_info(_context, nullptr);
    reader = nullptr;
    return result;
}

/// Called by the FFmpeg libraries, on any thread, with each message of theirs. A demuxer that comes upon the end of the
/// file too early tells so in a message only, and so does one that misses datagrams or parts of a playlist.
void MediaInput::takeMessage(void *sender, int level, const char *format, va_list arguments)
{
    if (!reader || level > AV_LOG_WARNING)
        return;
    if (isOneOf(missingDatagrams, format))
        reader->_noticedGap = true;
    const bool isPart = reader->_missingPart.empty() && isOneOf(missingParts, format);
    const bool isComplaint = level <= AV_LOG_ERROR && sender == reader->_context;
    if (!isPart && !isComplaint)
        return;
    std::array<char, 256> text = {};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    const std::string message = ShownUrl::inSentence(QByteArray(text.data()).simplified().toStdString());
    if (isPart)
        reader->_missingPart = message;
    if (isComplaint)
        reader->_complaint = message;
}

/// Called by libavformat, before it reads from the file.
int MediaInput::isInterrupted(void *input)
{
    auto *const self = static_cast<MediaInput *>(input);
    if (self->_deadline != Instant::max() && std::chrono::steady_clock::now() >= self->_deadline)
        self->_deadlinePassed = true;
    const bool stop = self->isFlooded() || self->_deadlinePassed || self->isAbandoned() ||
                      self->_stopRequested.load(std::memory_order_relaxed);
    return stop ? 1 : 0;
}

std::chrono::milliseconds MediaInput::duration() const
{
    return std::chrono::milliseconds(_context->duration == AV_NOPTS_VALUE ? -1 : _context->duration / 1000);
}

StreamDescription MediaInput::describe(int index) const
{
    const AVCodecParameters &parameters = *stream(index).codecpar;
    const char *const kind = av_get_media_type_string(parameters.codec_type);
    const AVRational rate = frameRate(index);
    StreamDescription description;
    description.index = index;
    description.kind = kind ? kind : "unknown";
    description.codec = avcodec_get_name(parameters.codec_id);
    description.fourcc = fourccOf(parameters).value_or(0);
    description.width = parameters.width;
    description.height = parameters.height;
    description.frameRateNumerator = rate.num;
    description.frameRateDenominator = rate.den;
    description.sampleRate = parameters.sample_rate;
    description.channels = parameters.ch_layout.nb_channels;
    description.obstacle = obstacleOf(parameters, description.fourcc);
    const bool isMedia = parameters.codec_type == AVMEDIA_TYPE_VIDEO || parameters.codec_type == AVMEDIA_TYPE_AUDIO;
    if (isMedia && !description.obstacle.empty())
        description.missingCodec = codecNameOf(parameters);
    return description;
}

AVRational MediaInput::frameRate(int index) const
{
    AVStream *const itsStream = _context->streams[index];
    if (itsStream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO)
        return {0, 1};
    const AVRational rate = av_guess_frame_rate(_context, itsStream, nullptr);
    return rate.num > 0 && rate.den > 0 ? rate : AVRational{0, 1};
}

QByteArray MediaInput::packedParameters(int index, const QByteArray &origin) const
{
    const AVStream &itsStream = stream(index);
    const AVRational rate = frameRate(index);
    return MediaBlock::packParameters({origin, itsStream.time_base.num, itsStream.time_base.den, rate.num, rate.den,
                                       itsStream.sample_aspect_ratio.num, itsStream.sample_aspect_ratio.den},
                                      *itsStream.codecpar);
}

std::optional<qint64> MediaInput::timeMs(const AVPacket &packet) const
{
    const qint64 time = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
    if (time == AV_NOPTS_VALUE)
        return std::nullopt;
    return av_rescale_q(time, stream(packet.stream_index).time_base, {1, 1000});
}

qint64 MediaInput::durationMs(const AVPacket &packet, const StreamDescription &description) const
{
    if (packet.duration > 0)
        return av_rescale_q(packet.duration, stream(packet.stream_index).time_base, {1, 1000});
    const int rate = description.frameRateNumerator;
    return rate > 0 ? 1000LL * description.frameRateDenominator / rate : 0;
}

int MediaInput::bestStream(AVMediaType type, int relatedIndex) const
{
    const AVCodec *decoder = nullptr;
    const int best = av_find_best_stream(_context, type, -1, relatedIndex, &decoder, 0);
    return best >= 0 && describe(best).obstacle.empty() ? best : decodableStream(type);
}

std::optional<StreamDescription> MediaInput::undecodableStream(AVMediaType type) const
{
    if (decodableStream(type) >= 0)
        return std::nullopt;
    for (int index = 0; index < streamCount(); ++index) {
        if (stream(index).codecpar->codec_type == type)
            return describe(index);
    }
    return std::nullopt;
}

std::string MediaInput::whyNothingCanBeDecoded(bool videoWanted, bool audioWanted) const
{
    const char *const asked = !audioWanted ? "video" : !videoWanted ? "audio" : "video or audio";
    std::string what = std::string("no ") + asked + " stream in it can be decoded";
    for (int index = 0; index < streamCount(); ++index) {
        const StreamDescription description = describe(index);
        if (!description.obstacle.empty())
            what += "; stream " + std::to_string(index) + " (" + description.codec + "): " + description.obstacle;
    }
    return what;
}

int MediaInput::decodableStream(AVMediaType type) const
{
    for (int index = 0; index < streamCount(); ++index) {
        if (stream(index).codecpar->codec_type == type && describe(index).obstacle.empty())
            return index;
    }
    return -1;
}

int MediaInput::read(AVPacket *packet)
{
    _complaint.clear();
    _noticedGap = false;
    reader = this;
    const int result = av_read_frame(_context, packet);
    reader = nullptr;
    if (result < 0 && _deadlinePassed)
        return AVERROR(ETIMEDOUT);
    // Some demuxers take any failure to read the file for its end.
    const bool hidesError = result == AVERROR_EOF && _context->pb && _context->pb->error < 0;
    return hidesError ? _context->pb->error : result;
}

bool MediaInput::isShorterThanItsIndex() const
{
    const qint64 size = _context->pb ? avio_size(_context->pb) : -1;
    for (int index = 0; size >= 0 && index < streamCount(); ++index) {
        AVStream *const itsStream = _context->streams[index];
        const int entries = itsStream->discard == AVDISCARD_ALL ? 0 : avformat_index_get_entries_count(itsStream);
        for (int position = 0; position < entries; ++position) {
            const AVIndexEntry *const entry = avformat_index_get_entry(itsStream, position);
            if (entry && entry->pos + entry->size > size)
                return true;
        }
    }
    return false;
}

double MediaInput::readPart() const
{
    const qint64 size = _context->pb ? avio_size(_context->pb) : 0;
    return size > 0 ? qBound(0.0, static_cast<double>(avio_tell(_context->pb)) / static_cast<double>(size), 1.0) : 0.0;
}
