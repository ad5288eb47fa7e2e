#include "StormBlock.h"

#include <QtEndian>

#include <cstring>

namespace {

constexpr quint32 groupLength = 12; // blocks of one stream from a change of fourcc to the next
constexpr quint32 stampSize = 16;   // fourcc, queue, place in the script, size

quint32 fourccOf(quint32 queue, quint32 streamId, quint32 group)
{
    constexpr quint32 fourccs[] = {0x31637661, 0x31637668, 0x31307661, 0x30387076, StormBlock::unsupportedFourcc};
    // Two groups in a row often agree, so that a key block does not always bring another codec.
    return fourccs[StormBlock::mixed(queue * 16 + streamId, group / 2) % 5];
}

quint32 sizeFor(quint64 chance)
{
    if (chance % 54 == 0)
        return 65536;
    return stampSize + static_cast<quint32>(chance % 4 == 0 ? chance / 4 % 4096 : chance / 4 % 64);
}

char fillOf(quint32 queue, quint32 position)
{
    return static_cast<char>(queue * 31 + position);
}

} // namespace

quint64 StormBlock::mixed(quint64 a, quint64 b)
{
    quint64 value = a * 0x9E3779B97F4A7C15U + b + 0x2545F4914F6CDD1DU;
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9U;
    value = (value ^ value >> 27) * 0x94D049BB133111EBU;
    return value ^ value >> 31;
}

StormBlock::Description StormBlock::at(quint32 queue, quint32 index)
{
    const quint32 position = index % scriptLength;
    const quint64 chance = mixed(queue, position);
    const bool isAudio = position % 3 == 2;
    const quint32 ordinal = isAudio ? position / 3 : position / 3 * 2 + position % 3; // within the stream
    const quint32 placeInGroup = ordinal % groupLength;

    Description block;
    block.streamId = isAudio ? audioStreamId : videoStreamId;
    const bool isEmpty = placeInGroup == groupLength - 1 && chance % 3 == 0;
    block.keyBlock = (isAudio || placeInGroup == 0) && !isEmpty;
    block.fourcc = fourccOf(queue, block.streamId, ordinal / groupLength);
    block.size = isEmpty ? 0 : sizeFor(chance);
    block.lost = chance % 17 == 0 ? static_cast<quint32>(chance / 17 % 5) : 0;
    return block;
}

QByteArray StormBlock::bytes(quint32 queue, quint32 index)
{
    const Description block = at(queue, index);
    if (block.size == 0)
        return QByteArray();
    const quint32 position = index % scriptLength;
    QByteArray data(static_cast<int>(block.size), fillOf(queue, position));
    const quint32 stamp[] = {qToLittleEndian(block.fourcc), queue, position, block.size};
    std::memcpy(data.data(), stamp, stampSize);
    return data;
}

quint32 StormBlock::queueOf(const QByteArray &data)
{
    quint32 stamp[4] = {};
    std::memcpy(stamp, data.constData(), qMin<std::size_t>(stampSize, static_cast<std::size_t>(data.size())));
    return stamp[1];
}

bool StormBlock::isAt(const QByteArray &data, quint32 queue, quint32 index)
{
    const Description block = at(queue, index);
    if (static_cast<quint32>(data.size()) != block.size)
        return false;
    if (block.size == 0)
        return true;
    const quint32 position = index % scriptLength;
    const quint32 stamp[] = {qToLittleEndian(block.fourcc), queue, position, block.size};
    return std::memcmp(data.constData(), stamp, stampSize) == 0 &&
           (block.size == stampSize || data.back() == fillOf(queue, position));
}
