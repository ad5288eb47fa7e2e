#ifndef INTERFACES_AUDIOSAMPLEBUFFER_H
#define INTERFACES_AUDIOSAMPLEBUFFER_H

#include <atomic>
#include <cstdint>

/// The record behind one run of decoded samples, made with `new` by a codec decoder and shared by AudioSampleHandle.
/// Record and samples are freed by whichever library drops the last handle: all libraries of a process share one heap.
/// How the samples lie in its bytes, and how many there are, is between the codec decoder and the consumers.
struct AudioSampleBuffer {
    /// Handles to this record; 0 in a fresh one.
    std::atomic<std::int32_t> refCount{0};
    /// The samples' bytes, from `new char[]`; null in a record without bytes.
    char *data = nullptr;

    /// Called once, by the last handle.
    void giveBackData() { delete[] data; }
};

#endif
