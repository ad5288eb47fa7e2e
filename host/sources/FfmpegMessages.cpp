#include "sources/FfmpegMessages.h"

#include <QByteArray>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "media/FfmpegLog.h"
#include "media/ShownUrl.h"
#include "sources/GapMessages.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

// How messages begin, before their arguments are filled in, that nothing else tells of.
constexpr std::array<const char *, 5> wrongValues = {"Unable to parse ", "Value %f for parameter ",
                                                     "Undefined constant or missing ", "Error setting option ",
                                                     "Invalid value "};

constexpr std::array<const char *, 1> refusedFormats = {"Format not on whitelist"};

template <std::size_t Count>
bool isOneOf(const std::array<const char *, Count> &beginnings, const char *message)
{
    return std::any_of(beginnings.begin(), beginnings.end(), [message](const char *beginning) {
        return std::strncmp(message, beginning, std::strlen(beginning)) == 0;
    });
}

/// Whoever takes the messages of this thread.
thread_local FfmpegMessages *taker = nullptr;

} // namespace

FfmpegMessages::FfmpegMessages()
{
    static const bool taking = (FfmpegLog::take(FfmpegLog::Of::Inputs, take), true);
    static_cast<void>(taking);
}

FfmpegMessages::Listening::Listening(FfmpegMessages &messages, const void *context)
{
    messages._context = context;
    messages._complaint.clear();
    messages._wrongValue.clear();
    messages._hasRefusedFormat = false;
    messages._hasNoticedGap = false;
    taker = &messages;
}

FfmpegMessages::Listening::~Listening()
{
    taker = nullptr;
}

/// Called by the FFmpeg libraries, on any thread, with each message of theirs.
void FfmpegMessages::take(void *sender, int level, const char *format, va_list arguments)
{
    if (!taker || level > AV_LOG_WARNING)
        return;
    if (isOneOf(refusedFormats, format))
        taker->_hasRefusedFormat = true;
    const GapMessages::Gap gap = GapMessages::of(sender, format);
    if (gap != GapMessages::Gap::None)
        taker->_hasNoticedGap = true;
    const bool isFirstPart = gap == GapMessages::Gap::Part && taker->_missingPart.empty();
    const bool isComplaint = level <= AV_LOG_ERROR && sender == taker->_context;
    const bool isWrongValue = taker->_wrongValue.empty() && isOneOf(wrongValues, format);
    if (!isFirstPart && !isComplaint && !isWrongValue)
        return;
    std::array<char, 256> text = {};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    const std::string message = ShownUrl::inSentence(QByteArray(text.data()).simplified().toStdString());
    if (isFirstPart)
        taker->_missingPart = message;
    if (isComplaint)
        taker->_complaint = message;
    if (isWrongValue)
        taker->_wrongValue = message;
}
