#include "UnrestInput.h"

#include <fcntl.h>
#include <unistd.h>
#include <utility>

#include <gmock/gmock.h>
#include <sys/stat.h>

SentInput::SentInput(const Kind &kind, int number, const QStringList &clips)
    : SentInput(kind, number, clips, Loopback::freePort(kind.socketType))
{
}

SentInput::SentInput(const Kind &kind, int number, const QStringList &clips, quint16 port)
    : UnrestInput(kind.name + std::to_string(number), QString::fromLatin1(kind.url).arg(port))
    , _kind(kind)
    , _clips(clips)
    , _port(port)
{
    begin(_clips[number % _clips.size()]);
}

void SentInput::begin(const QString &clip)
{
    if (!_kind.muxer) {
        _sender = std::make_unique<ServerProcess>(
            QStringLiteral("/usr/bin/python3"),
            QStringList{QStringLiteral(RTSP_SERVER_FILE), QString::number(_port), clip});
        return;
    }
    QStringList arguments{"-v", "quiet", "-re", "-stream_loop", "-1", "-i", clip, "-c", "copy", "-f", _kind.muxer};
    if (_kind.options)
        arguments += QString::fromLatin1(_kind.options).split(' ');
    _sender = std::make_unique<ServerProcess>(QStringLiteral("ffmpeg"),
                                              arguments << QString::fromLatin1(_kind.target).arg(_port));
}

void SentInput::disturb(Chance &chance)
{
    if (!_sender || !_sender->isRunning())
        return begin(chance.of(_clips));
    switch (chance.below(6)) {
    case 0:
        _sender = nullptr;
        break;
    case 1:
        _sender = nullptr;
        begin(chance.of(_clips));
        break;
    case 2:
        _sender->pause();
        break;
    case 3:
        sendRubbish(chance);
        break;
    default:
        _sender->goOn();
    }
}

/// To whoever listens at the port, be it the host or the sender.
void SentInput::sendRubbish(Chance &chance) const
{
    const int socket = ::socket(AF_INET, _kind.socketType | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const sockaddr_in to = Loopback::at(_port);
    static_cast<void>(connect(socket, reinterpret_cast<const sockaddr *>(&to), sizeof to));
    std::string bytes(1316, '\0');
    for (int count = 0; count < 100; ++count) {
        for (char &byte : bytes)
            byte = static_cast<char>(chance.below(256));
        static_cast<void>(send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }
    close(socket);
}

UnreadInput::UnreadInput(std::string name, QString url, QString outputs)
    : UnrestInput(std::move(name), std::move(url))
    , _outputs(std::move(outputs))
{
    renew();
}

void UnreadInput::renew()
{
    closeReader();
    const QString number = ++_lives == 1 ? QString() : QStringLiteral("-%1").arg(_lives);
    _pipe = _outputs + '/' + QString::fromStdString(name()) + number + ".video.framemd5";
    EXPECT_EQ(::mkfifo(qUtf8Printable(_pipe), 0600), 0) << _pipe.toStdString();
}

void UnreadInput::disturb(Chance &chance)
{
    if (_reader < 0) {
        _reader = ::open(qUtf8Printable(_pipe), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        return;
    }
    if (chance.oneIn(5))
        return closeReader();
    char bytes[65536];
    while (chance.below(10) > 0 && ::read(_reader, bytes, sizeof bytes) > 0) {
    }
}

void UnreadInput::closeReader()
{
    if (_reader >= 0)
        ::close(std::exchange(_reader, -1));
}
