#include "CutClip.h"

#include <cstring>

#include "format/Fourcc.h"
#include "format/MediaBlock.h"

namespace {

struct FreePacket {
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};
using Packet = std::unique_ptr<AVPacket, FreePacket>;

} // namespace

std::vector<Clip::Block> cutBlocks(const Clip &clip, int count, const Cut &cut)
{
    std::vector<Clip::Block> blocks;
    const Packet whole(av_packet_alloc());
    for (int index = 0; index < count && index < static_cast<int>(clip.blocks.size()); ++index) {
        const Clip::Block &block = clip.blocks[static_cast<std::size_t>(index)];
        QByteArray parameters;
        if (!MediaBlock::unpack(block.data, block.keyBlock, whole.get(), &parameters))
            continue;
        const QByteArray coded = cut(QByteArray(reinterpret_cast<const char *>(whole->data), whole->size), index);
        if (coded.isEmpty())
            continue;
        const Packet rest(av_packet_alloc());
        av_new_packet(rest.get(), coded.size());
        av_packet_copy_props(rest.get(), whole.get());
        std::memcpy(rest->data, coded.constData(), static_cast<std::size_t>(coded.size()));
        blocks.push_back({block.keyBlock
                              ? MediaBlock::packKeyBlock(fourccOf(*clip.parameters).value(), parameters, *rest)
                              : MediaBlock::packBlock(*rest),
                          block.keyBlock});
    }
    return blocks;
}
