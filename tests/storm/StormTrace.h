#ifndef STORM_STORMTRACE_H
#define STORM_STORMTRACE_H

#include "StormLedger.h"

/// The object trace of this program, in place of the framework library's: it counts, and takes no lock, because every
/// creation and end of an object passes through it, on all threads.
namespace StormTrace {

StormLedger::Count &count();

} // namespace StormTrace

#endif
