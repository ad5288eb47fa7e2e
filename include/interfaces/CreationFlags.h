#ifndef INTERFACES_CREATIONFLAGS_H
#define INTERFACES_CREATIONFLAGS_H

/// Bit values that a client adds up when it asks for a decoder.
namespace CreationFlags {

enum : int {
    /// Blocks are released by their block times, after a start-up catch-up of at most 500 ms.
    Paced = 1,
    /// The decoder always runs in performance mode, and is left out of mode switches and most statistics.
    ExcludeFromTuning = 2
};

} // namespace CreationFlags

#endif
