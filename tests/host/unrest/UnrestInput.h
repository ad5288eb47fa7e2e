#ifndef TESTS_HOST_UNREST_UNRESTINPUT_H
#define TESTS_HOST_UNREST_UNRESTINPUT_H

#include <QString>
#include <QStringList>

#include <memory>
#include <string>
#include <vector>

#include "Chance.h"
#include "host/live/Loopback.h"
#include "host/live/ServerProcess.h"

/// An input of the host that something is wrong with, or will be. Belongs to one thread, as what is derived from it.
class UnrestInput {
public:
    /// @param name that the host knows it by; of a file, its own.
    UnrestInput(std::string name, QString url)
        : _name(std::move(name))
        , _url(std::move(url))
    {
    }
    virtual ~UnrestInput() = default;
    Q_DISABLE_COPY(UnrestInput)

    const std::string &name() const { return _name; }
    const QString &url() const { return _url; }

    /// Does to it, or to whoever it depends on, what may happen at any time.
    virtual void disturb(Chance & /*chance*/) {}
    /// It was removed, and is to be added once more.
    virtual void renew() {}

private:
    const std::string _name;
    const QString _url;
};

/// One that a program sends to or serves, which is killed, stops, goes on, begins again with something else; and that
/// others send rubbish to.
class SentInput final : public UnrestInput {
public:
    struct Kind {
        const char *name;
        int socketType;
        const char *url;               // with a port to be filled in
        const char *muxer;             // null: the RTSP server takes its place
        const char *target;            // of the sender, with the port
        const char *options = nullptr; // of the sender, in front of its target
    };

    /// @param clips one of which is sent at a time.
    SentInput(const Kind &kind, int number, const QStringList &clips);

    void disturb(Chance &chance) override;

private:
    SentInput(const Kind &kind, int number, const QStringList &clips, quint16 port);

    void begin(const QString &clip);
    void sendRubbish(Chance &chance) const;

    const Kind _kind;
    const QStringList _clips;
    const quint16 _port;
    std::unique_ptr<ServerProcess> _sender;
};

/// One whose output is a pipe that is read now and then, or no more, or closed by its reader.
class UnreadInput final : public UnrestInput {
public:
    /// @param outputs the directory of the host's framemd5 files.
    UnreadInput(std::string name, QString url, QString outputs);
    ~UnreadInput() override { closeReader(); }

    void disturb(Chance &chance) override;
    /// The host takes another name for its output then.
    void renew() override;

private:
    void closeReader();

    const QString _outputs;
    QString _pipe;
    int _lives = 0;
    int _reader = -1;
};

#endif
