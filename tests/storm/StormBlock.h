#ifndef STORM_STORMBLOCK_H
#define STORM_STORMBLOCK_H

#include <QByteArray>
#include <QtGlobal>

/// The compressed blocks of the storm. Which block stands at which place of which queue is a pure function, so that
/// every codec decoder can tell for itself what it must be given next. A queue repeats its script of blocks for ever.
namespace StormBlock {

constexpr quint32 scriptLength = 108;
constexpr quint32 videoStreamId = 0;
constexpr quint32 audioStreamId = 8;
constexpr quint32 unsupportedFourcc = 0x454e4f4e; // "NONE"

struct Description {
    quint32 streamId;
    bool keyBlock;
    quint32 fourcc;
    quint32 size; // bytes; 0: an empty block
    quint32 lost;
};

/// @param queue number of the queue. @param index place of the block in the queue, from 0.
Description at(quint32 queue, quint32 index);

/// The bytes of that block: its fourcc, then what tells it from every other one.
QByteArray bytes(quint32 queue, quint32 index);

/// @return the number of the queue that @p data came from.
quint32 queueOf(const QByteArray &data);

/// @return whether @p data is the block at @p index of @p queue, from its first byte to its last.
bool isAt(const QByteArray &data, quint32 queue, quint32 index);

/// A well-mixed number for @p a and @p b.
quint64 mixed(quint64 a, quint64 b);

} // namespace StormBlock

#endif
