#ifndef DECODING_EXPORT_H
#define DECODING_EXPORT_H

/// Marks what the library `decoding` shows to programs; it hides everything else.
#define DECODING_EXPORT __attribute__((visibility("default")))
/// Marks what such a class has inside.
#define DECODING_INTERNAL __attribute__((visibility("hidden")))

#endif
