#ifndef INTERFACES_IAVFORMATMANAGER_H
#define INTERFACES_IAVFORMATMANAGER_H

#include "interfaces/IAVFormatFactory.h"
#include "strata/base/modkit/modkit"

/// The format component as the decoding manager knows it: an object that can be looked up and creates codec decoders.
/// Every stream decoder holds a reference for its whole life. The last reference may be dropped while the decoding
/// manager's lock is held, or on a decoder thread: the destructor must not call the decoding manager, nor create or
/// drop decoder handles, and has the small stack of such a thread.
class IAVFormatManager : public IPolymorph, public IAVFormatFactory {};

#endif
