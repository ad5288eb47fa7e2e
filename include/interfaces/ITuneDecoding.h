#ifndef INTERFACES_ITUNEDECODING_H
#define INTERFACES_ITUNEDECODING_H

#include "strata/base/modkit/modkit"

class QObject;

/// Observes decoding and balances its quality against the machine's capacity. Published by the decoding manager;
/// thread-safe, except for threads that hold a lock of the component: IDecoder.h says where that is.
class ITuneDecoding : public IPolymorph {
public:
    /// @param listener when not null, receives a QEvent_CpuLoad (QEvent_CpuLoad.h) for every change from now on, until
    ///        removeCpuLoadListener. It must be removed before it is destroyed. Registered twice, it receives two
    ///        events for each change.
    /// @return time spent decoding in the last second (measured once a second by a timer of the thread that called
    ///         `init`, which must run an event loop), as a share of all the processor time that decoding can use: 0.0
    ///         is idle, 1.0 is every usable core busy. Infinite or not a number when no time passed between two
    ///         measurements. 0.0 outside the time from `init` to `stop`; @p listener is not kept then.
    virtual double cpuLoad(QObject *listener) = 0;

    /// Takes back one registration of @p listener, if there is any. An event that is already posted may still arrive.
    virtual void removeCpuLoadListener(QObject *listener) = 0;

    /// @return number of stream decoders, each counted once however many handles it has; with them the places of those
    ///         that could not be made yet.
    virtual int decoderCount() = 0;

    /// From now on all decoders but those excluded from tuning decode every block.
    virtual void usePerformanceMode() = 0;

    /// From now on all decoders but those excluded from tuning decode only key blocks, and empty blocks.
    virtual void useTimeSavingMode() = 0;
};

#endif
