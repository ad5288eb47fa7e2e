#ifndef HOST_DECODE_TESTS_DAMAGE_H
#define HOST_DECODE_TESTS_DAMAGE_H

#include <QByteArray>

#include <algorithm>
#include <random>

/// Damages the content of media files, each time in the same way for the same seed.
class Damage final {
public:
    explicit Damage(quint32 seed)
        : _random(seed)
    {
    }

    /// Turns over one bit at each of @p places, between @p begin and the end.
    QByteArray flipBits(QByteArray content, int places, int begin = 0)
    {
        for (int place = 0; place < places && begin < content.size(); ++place) {
            const int position = below(begin, content.size());
            content[position] = static_cast<char>(content.at(position) ^ (1 << below(0, 8)));
        }
        return content;
    }

    /// Damages it in one of several ways: the beginning, the end or all of it, a few bits or many; now and then it is
    /// cut off, too.
    QByteArray any(const QByteArray &content)
    {
        const int places = 1 << below(0, 9);
        const int region = below(0, 3);
        const int length = region == 2 ? content.size() : std::min(4096, content.size());
        const int begin = region == 1 ? content.size() - length : 0;
        QByteArray damaged =
            content.left(begin) + flipBits(content.mid(begin, length), places) + content.mid(begin + length);
        if (below(0, 8) == 0)
            damaged.truncate(below(0, damaged.size() + 1));
        return damaged;
    }

private:
    // The library's distributions differ from one implementation to the next; which byte is a little likelier does not
    // matter.
    int below(int begin, int end) { return begin + static_cast<int>(_random() % static_cast<quint32>(end - begin)); }

    std::mt19937 _random;
};

#endif
