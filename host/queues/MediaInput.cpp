#include "queues/MediaInput.h"

#include <QFile>
#include <QFileInfo>

#include <array>
#include <cstdio>
#include <optional>

#include "format/Fourcc.h"

namespace {

constexpr std::chrono::seconds openLimit{10};

/// The input that this thread is reading.
thread_local MediaInput *reader = nullptr;

bool isLocal(const QString &url)
{
    return !url.contains(QLatin1String("://"));
}

std::string message(const QString &url, const std::string &what)
{
    return url.toStdString() + ": " + what;
}

std::string errorText(int error)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text = {};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

/// What libavformat would say less clearly, or, of a pipe that nobody writes to, not at all.
std::optional<std::string> obviousObstacle(const QString &fileName)
{
    const QFileInfo info(fileName);
    if (!info.exists())
        return "there is no such file";
    if (info.isDir())
        return "this is a directory; name a media file in it";
    if (!info.isFile())
        return "this is not a regular file";
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return "the file cannot be read: " + file.errorString().toStdString();
    if (info.size() == 0)
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

MediaInput::MediaInput(const std::atomic<bool> &stopRequested)
    : _stopRequested(stopRequested)
    , _openDeadline(std::chrono::steady_clock::now() + openLimit)
{
}

MediaInput::~MediaInput()
{
    avformat_close_input(&_context);
}

std::variant<std::unique_ptr<MediaInput>, std::string>
MediaInput::open(const QString &url, const std::atomic<bool> &stopRequested, const std::atomic<bool> *abandoned)
{
    static const bool listening = (av_log_set_callback(takeMessage), true);
    Q_UNUSED(listening);
    if (isLocal(url)) {
        if (const std::optional<std::string> obstacle = obviousObstacle(url))
            return message(url, *obstacle);
    }

    std::unique_ptr<MediaInput> input(new MediaInput(stopRequested));
    input->_abandoned = abandoned;
    const int result = input->openContext(url);
    const bool wasAbandoned = input->isAbandoned();
    input->_abandoned = nullptr;
    input->_opening = false;
    if (wasAbandoned)
        return message(url, "opening it was abandoned");
    if (input->_deadlinePassed)
        return message(url, "gave up opening it after " + std::to_string(openLimit.count()) + " s");
    if (result == AVERROR_INVALIDDATA)
        return message(url, "this is no media file, or it is damaged at its beginning: " + errorText(result));
    if (result < 0)
        return message(url, "cannot be opened: " + errorText(result));
    // Any text can be drawn as the picture of a text terminal, but nobody means that.
    if (input->container() == "tty")
        return message(url, "this is a text file, not media");
    return input;
}

int MediaInput::openContext(const QString &url)
{
    _context = avformat_alloc_context();
    if (!_context)
        return AVERROR(ENOMEM);
    _context->interrupt_callback = {isInterrupted, this};
    // As the ffmpeg tool does: it decides which streams of a broadcast recording there are.
    AVDictionary *options = nullptr;
    av_dict_set(&options, "scan_all_pmts", "1", 0);
    // Without the prefix, a file name with a colon in it would name a protocol.
    const QByteArray name = (isLocal(url) ? QByteArray("file:") : QByteArray()) + QFile::encodeName(url);
    const int result = avformat_open_input(&_context, name.constData(), nullptr, &options);
    av_dict_free(&options);
    return result < 0 ? result : avformat_find_stream_info(_context, nullptr);
}

/// Called by the FFmpeg libraries, on any thread, with each message of theirs. A demuxer that comes upon the end of the
/// file too early tells so in a message only.
void MediaInput::takeMessage(void *sender, int level, const char *format, va_list arguments)
{
    if (!reader || sender != reader->_context || level > AV_LOG_ERROR)
        return;
    std::array<char, 256> text = {};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    reader->_complaint = QByteArray(text.data()).simplified().toStdString();
}

/// Called by libavformat, before it reads from the file.
int MediaInput::isInterrupted(void *input)
{
    auto *const self = static_cast<MediaInput *>(input);
    if (self->_opening && std::chrono::steady_clock::now() >= self->_openDeadline)
        self->_deadlinePassed = true;
    const bool stop =
        self->_deadlinePassed || self->isAbandoned() || self->_stopRequested.load(std::memory_order_relaxed);
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

int MediaInput::bestStream(AVMediaType type, int relatedIndex) const
{
    const AVCodec *decoder = nullptr;
    const int best = av_find_best_stream(_context, type, -1, relatedIndex, &decoder, 0);
    return best >= 0 && describe(best).obstacle.empty() ? best : decodableStream(type);
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
    reader = this;
    const int result = av_read_frame(_context, packet);
    reader = nullptr;
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
