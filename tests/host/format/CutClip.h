#ifndef HOST_FORMAT_TESTS_CUTCLIP_H
#define HOST_FORMAT_TESTS_CUTCLIP_H

#include <QByteArray>

#include <functional>

#include "Clip.h"

/// What becomes of the coded bytes of the packet with this number; nothing drops the packet.
using Cut = std::function<QByteArray(const QByteArray &coded, int index)>;

/// @return at most the first @p count blocks of @p clip after @p cut.
std::vector<Clip::Block> cutBlocks(const Clip &clip, int count, const Cut &cut);

#endif
