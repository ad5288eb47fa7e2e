#include "ContractLayouts.h"

#include <QString>

#include <atomic>
#include <cstdint>
#include <string>

#include "QEvent_CpuLoad.h"
#include "interfaces/AudioSampleHandle.h"
#include "interfaces/IAVFormatManager.h"
#include "interfaces/IDecodingManager.h"
#include "interfaces/IIndicationManager.h"
#include "interfaces/IObjectRegistry.h"
#include "interfaces/ISettings.h"
#include "interfaces/ITuneDecoding.h"
#include "interfaces/VideoFrameHandle.h"

// Slots 0 and 1 of a class with a virtual destructor are its complete and its deleting destructor
// (DestructorSlotsTest.cpp), so that its operations begin with slot 2.

namespace {

ClassLayout polymorph()
{
    return {"IPolymorph", 8, sizeof(IPolymorph)};
}

ClassLayout component()
{
    return {"IComponent",
            8,
            sizeof(IComponent),
            {LAYOUT_BASE(IComponent, IPolymorph, 0)},
            {},
            {LAYOUT_OPERATION(IComponent, init, 2,
                              bool(const ModkitPtr<ISettings> &, IObjectRegistry &, const ModkitPtr<IComponent> &)),
             LAYOUT_OPERATION(IComponent, stop, 3, void()), LAYOUT_OPERATION(IComponent, check, 4, int())}};
}

ClassLayout settings()
{
    return {"ISettings",
            8,
            sizeof(ISettings),
            {LAYOUT_BASE(ISettings, IPolymorph, 0)},
            {},
            {LAYOUT_OPERATION(ISettings, getInt, 2, std::int32_t(const std::string &, std::int32_t))}};
}

// Has no virtual destructor.
ClassLayout objectRegistry()
{
    return {"IObjectRegistry",
            8,
            sizeof(IObjectRegistry),
            {},
            {},
            {LAYOUT_OPERATION(IObjectRegistry, setObject, 0,
                              ModkitPtr<IPolymorph>(const std::string &, const ModkitPtr<IPolymorph> &)),
             LAYOUT_OPERATION(IObjectRegistry, getObject, 1, ModkitPtr<IPolymorph>(const std::string &))}};
}

ClassLayout managerInterface()
{
    return {"IDecodingManager",
            8,
            sizeof(IDecodingManager),
            {LAYOUT_BASE(IDecodingManager, IPolymorph, 0)},
            {},
            {LAYOUT_OPERATION(IDecodingManager, createVideoDecoder, 2,
                              ModkitPtr<IDecoder>(const ModkitPtr<IInputQueue> &, const ModkitPtr<IVideoOutputQueue> &,
                                                  int, const QString &)),
             LAYOUT_OPERATION(IDecodingManager, createAudioDecoder, 3,
                              ModkitPtr<IDecoder>(const ModkitPtr<IInputQueue> &, const ModkitPtr<IAudioOutputQueue> &,
                                                  int, const QString &))}};
}

ClassLayout decoder()
{
    return {"IDecoder", 8, sizeof(IDecoder)};
}

ClassLayout tuneDecoding()
{
    return {"ITuneDecoding",
            8,
            sizeof(ITuneDecoding),
            {LAYOUT_BASE(ITuneDecoding, IPolymorph, 0)},
            {},
            {LAYOUT_OPERATION(ITuneDecoding, cpuLoad, 2, double(QObject *)),
             LAYOUT_OPERATION(ITuneDecoding, removeCpuLoadListener, 3, void(QObject *)),
             LAYOUT_OPERATION(ITuneDecoding, decoderCount, 4, int()),
             LAYOUT_OPERATION(ITuneDecoding, usePerformanceMode, 5, void()),
             LAYOUT_OPERATION(ITuneDecoding, useTimeSavingMode, 6, void())}};
}

// Has no virtual destructor; four operations of other users come first.
ClassLayout formatFactory()
{
    return {"IAVFormatFactory",
            8,
            sizeof(IAVFormatFactory),
            {},
            {},
            {LAYOUT_OPERATION(IAVFormatFactory, reserved1, 0, void()),
             LAYOUT_OPERATION(IAVFormatFactory, reserved2, 1, void()),
             LAYOUT_OPERATION(IAVFormatFactory, reserved3, 2, void()),
             LAYOUT_OPERATION(IAVFormatFactory, reserved4, 3, void()),
             LAYOUT_OPERATION(IAVFormatFactory, createVideoCodecDecoder, 4, ModkitPtr<IVideoCodecDecoder>(quint32)),
             LAYOUT_OPERATION(IAVFormatFactory, createAudioCodecDecoder, 5, ModkitPtr<IAudioCodecDecoder>(quint32))}};
}

ClassLayout formatManager()
{
    return {"IAVFormatManager",
            16,
            sizeof(IAVFormatManager),
            {LAYOUT_BASE(IAVFormatManager, IPolymorph, 0), LAYOUT_BASE(IAVFormatManager, IAVFormatFactory, 8)}};
}

ClassLayout indicationManager()
{
    return {"IIndicationManager",
            8,
            sizeof(IIndicationManager),
            {LAYOUT_BASE(IIndicationManager, IPolymorph, 0)},
            {},
            {LAYOUT_OPERATION(IIndicationManager, reserved1, 2, void()),
             LAYOUT_OPERATION(IIndicationManager, removeIndication, 3, void(const ModkitPtr<IIndicationObject> &)),
             LAYOUT_OPERATION(IIndicationManager, createIndication, 4,
                              ModkitPtr<IIndicationObject>(void *, const QString &, const QString &, int))}};
}

ClassLayout indicationObject()
{
    return {"IIndicationObject",
            8,
            sizeof(IIndicationObject),
            {LAYOUT_BASE(IIndicationObject, IPolymorph, 0)},
            {},
            {LAYOUT_OPERATION(IIndicationObject, setValue, 2,
                              void(int, int, const ModkitPtr<ISimpleIndicationObjectCallback> &))}};
}

ClassLayout indicationCallback()
{
    return {"ISimpleIndicationObjectCallback",
            8,
            sizeof(ISimpleIndicationObjectCallback),
            {},
            {},
            {LAYOUT_OPERATION(ISimpleIndicationObjectCallback, onTimeout, 2,
                              void(quint64, const ModkitPtr<IIndicationObject> &))}};
}

ClassLayout inputQueue()
{
    return {"IInputQueue",
            8,
            sizeof(IInputQueue),
            {LAYOUT_BASE(IInputQueue, IPolymorph, 0)},
            {},
            {LAYOUT_OPERATION(IInputQueue, readBlock, 2,
                              bool(QByteArray *, quint32 *, bool *, qint64 *, qint64 *, QueueCursor *, void *, void *,
                                   quint32 *, qint64 *))}};
}

ClassLayout videoCodecDecoder()
{
    return {
        "IVideoCodecDecoder",
        8,
        sizeof(IVideoCodecDecoder),
        {},
        {},
        {LAYOUT_OPERATION(IVideoCodecDecoder, decode, 2,
                          void(const QByteArray &, bool, qint64, qint64, const ModkitPtr<IVideoOutputQueue> *, int))}};
}

ClassLayout audioCodecDecoder()
{
    return {
        "IAudioCodecDecoder",
        8,
        sizeof(IAudioCodecDecoder),
        {},
        {},
        {LAYOUT_OPERATION(IAudioCodecDecoder, decode, 2,
                          void(const QByteArray &, bool, qint64, qint64, const ModkitPtr<IAudioOutputQueue> *, int))}};
}

ClassLayout videoOutputQueue()
{
    return {"IVideoOutputQueue",
            8,
            sizeof(IVideoOutputQueue),
            {},
            {},
            {LAYOUT_OPERATION(IVideoOutputQueue, push, 2, void(const VideoFrameHandle &, qint64, qint64))}};
}

ClassLayout audioOutputQueue()
{
    return {"IAudioOutputQueue",
            8,
            sizeof(IAudioOutputQueue),
            {},
            {},
            {LAYOUT_OPERATION(IAudioOutputQueue, push, 2, void(const AudioSampleHandle &, qint64, qint64))}};
}

ClassLayout pointer()
{
    return {"ModkitPtr<IPolymorph>",
            16,
            sizeof(ModkitPtr<IPolymorph>),
            {},
            {LAYOUT_FIELD(ModkitPtr<IPolymorph>, _counter, 0, ModkitCounter *),
             LAYOUT_FIELD(ModkitPtr<IPolymorph>, _ptr, 8, IPolymorph *)}};
}

ClassLayout counter()
{
    return {"ModkitCounter",
            16,
            sizeof(ModkitCounter),
            {},
            {LAYOUT_FIELD(ModkitCounter, strongCount, 0, std::atomic<std::int32_t>),
             LAYOUT_FIELD(ModkitCounter, blockCount, 4, std::atomic<std::int32_t>),
             LAYOUT_FIELD(ModkitCounter, deleter, 8, void (*)(void *))}};
}

ClassLayout queueCursor()
{
    return {"QueueCursor",
            12,
            sizeof(QueueCursor),
            {},
            {LAYOUT_FIELD(QueueCursor, word0, 0, quint32), LAYOUT_FIELD(QueueCursor, word1, 4, quint32),
             LAYOUT_FIELD(QueueCursor, flag, 8, bool)}};
}

ClassLayout videoFrameBuffer()
{
    return {"VideoFrameBuffer",
            24,
            sizeof(VideoFrameBuffer),
            {},
            {LAYOUT_FIELD(VideoFrameBuffer, refCount, 0, std::atomic<std::int32_t>),
             LAYOUT_FIELD(VideoFrameBuffer, data, 8, void *), LAYOUT_FIELD(VideoFrameBuffer, size, 16, quint32)}};
}

ClassLayout videoFrameHandle()
{
    return {"VideoFrameHandle",
            8,
            sizeof(VideoFrameHandle),
            {},
            {LAYOUT_FIELD(VideoFrameHandle, _record, 0, VideoFrameBuffer *)}};
}

ClassLayout audioSampleBuffer()
{
    return {"AudioSampleBuffer",
            16,
            sizeof(AudioSampleBuffer),
            {},
            {LAYOUT_FIELD(AudioSampleBuffer, refCount, 0, std::atomic<std::int32_t>),
             LAYOUT_FIELD(AudioSampleBuffer, data, 8, char *)}};
}

ClassLayout audioSampleHandle()
{
    return {"AudioSampleHandle",
            8,
            sizeof(AudioSampleHandle),
            {},
            {LAYOUT_FIELD(AudioSampleHandle, _record, 0, AudioSampleBuffer *)}};
}

ClassLayout cpuLoadEvent()
{
    return {"QEvent_CpuLoad",
            32,
            sizeof(QEvent_CpuLoad),
            {LAYOUT_BASE(QEvent_CpuLoad, QEvent, 0)},
            {LAYOUT_FIELD(QEvent_CpuLoad, load, 24, double)}};
}

} // namespace

std::vector<ClassLayout> contractLayouts()
{
    return {polymorph(),         component(),         settings(),         objectRegistry(),     managerInterface(),
            decoder(),           tuneDecoding(),      cpuLoadEvent(),     formatFactory(),      formatManager(),
            videoCodecDecoder(), audioCodecDecoder(), inputQueue(),       queueCursor(),        videoOutputQueue(),
            audioOutputQueue(),  indicationManager(), indicationObject(), indicationCallback(), pointer(),
            counter(),           videoFrameBuffer(),  videoFrameHandle(), audioSampleBuffer(),  audioSampleHandle()};
}
