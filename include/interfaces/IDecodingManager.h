#ifndef INTERFACES_IDECODINGMANAGER_H
#define INTERFACES_IDECODINGMANAGER_H

#include <QString>

#include "interfaces/CreationFlags.h"
#include "interfaces/IAudioOutputQueue.h"
#include "interfaces/IDecoder.h"
#include "interfaces/IInputQueue.h"
#include "interfaces/IVideoOutputQueue.h"
#include "strata/base/modkit/modkit"

/// Decodes streams for clients in the same process. Published by the decoding manager; thread-safe.
class IDecodingManager : public IPolymorph {
public:
    /// Feeds @p outputQueue with the decoded frames of the video stream in @p inputQueue, until the handle is released.
    /// There is one stream decoder for each input queue: a second request for the same queue adds its output to the
    /// decoder that is there, whose flags and name stay. A new decoder goes to the decoder thread that has the fewest,
    /// and reads the queue with a fresh cursor of its own; where the last handle of the same queue was dropped just
    /// before, the old decoder may still be finishing a block.
    ///
    /// Takes the manager's mutex, and creates the decoder's indications under it. Waits for a block in progress where
    /// the output joins a decoder that is just decoding, or another client has an output of such a decoder added or
    /// removed. IDecoder.h says from where handles must not be created.
    /// An empty queue pointer, or a manager that was told to start no threads, is a programming error, reported as a
    /// failed assertion, which ends the process in release builds too.
    /// @param inputQueue must not be empty.
    /// @param outputQueue must not be empty.
    /// @param flags sum of the values of CreationFlags.
    /// @param name shown with the decoder's indications and in messages; when empty the decoder names itself.
    /// @return the handle; empty when the manager is not initialised or already stopped.
    /// @throws std::bad_alloc when there is no memory, and whatever the indication manager throws; nothing is left of
    ///         the request then but the place of a decoder that could not be made, which the next request fills.
    virtual ModkitPtr<IDecoder> createVideoDecoder(const ModkitPtr<IInputQueue> &inputQueue,
                                                   const ModkitPtr<IVideoOutputQueue> &outputQueue, int flags,
                                                   const QString &name) = 0;

    /// As createVideoDecoder, for the audio stream in @p inputQueue.
    virtual ModkitPtr<IDecoder> createAudioDecoder(const ModkitPtr<IInputQueue> &inputQueue,
                                                   const ModkitPtr<IAudioOutputQueue> &outputQueue, int flags,
                                                   const QString &name) = 0;
};

#endif
