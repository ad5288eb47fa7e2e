#ifndef TESTS_HOST_SOURCES_LIVESERVERSFIXTURE_H
#define TESTS_HOST_SOURCES_LIVESERVERSFIXTURE_H

#include <QtEndian>

#include <algorithm>
#include <vector>

#include "LiveFixture.h"

/// Live sources that other programs serve: the pictures of a real clip, H.264 at 26.8 pictures a second, a key picture
/// about every second.
class LiveServersTest : public LiveFixture {
protected:
    static QString clip() { return QStringLiteral(SAMPLES_DIR "/cup.mp4"); }

    static LiveSource::Options pictures()
    {
        LiveSource::Options options = impatient();
        options.audio = false;
        return options;
    }

    /// The clip's coded pictures: the one slice that each consists of.
    static std::vector<QByteArray> picturesOfClip()
    {
        std::vector<QByteArray> pictures;
        for (const Packet &packet : packetsOf(clip(), 1)) {
            int slices = 0;
            for (int at = 0, size = 0; at + 5 <= packet.data.size(); at += 4 + size) {
                size = qFromBigEndian<qint32>(packet.data.constData() + at);
                const int type = packet.data[at + 4] & 31;
                if (type >= 1 && type <= 5) {
                    pictures.push_back(packet.data.mid(at + 4, size));
                    ++slices;
                }
            }
            EXPECT_EQ(slices, 1);
        }
        return pictures;
    }

    /// Which of the clip's pictures @p block holds, perhaps behind parameter sets and what else may stand
    /// before the slices; -1 when none.
    int pictureIn(const QueueReader::Block &block)
    {
        const std::vector<Packet> packets = packetsIn({block}, 0);
        const auto found = std::find_if(_pictures.begin(), _pictures.end(), [&](const QByteArray &picture) {
            return packets.size() == 1 && packets.front().data.endsWith(picture);
        });
        return found == _pictures.end() ? -1 : static_cast<int>(found - _pictures.begin());
    }

    /// Each block up to @p end holds the picture that follows the one before it.
    void expectTheClip(std::size_t end)
    {
        const int first = pictureIn(videoBlocks.front());
        ASSERT_GE(first, 0);
        for (std::size_t position = 0; position < end; ++position)
            ASSERT_EQ(pictureIn(videoBlocks[position]), first + static_cast<int>(position));
    }

    const std::vector<QByteArray> _pictures = picturesOfClip();
};

#endif
