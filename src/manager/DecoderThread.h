#ifndef MANAGER_DECODERTHREAD_H
#define MANAGER_DECODERTHREAD_H

#include <QSemaphore>
#include <QThread>

/// One thread of the decoder pool. It runs only its event loop; stream decoders are moved onto it.
///
/// A starting Qt 5 thread reads its own object name, unguarded, before it enters run(). So a name is given only after
/// waitUntilRunning().
class DecoderThread final : public QThread {
public:
    /// Blocks until the started thread is past Qt's own preparations. Returns at once when the thread could not be
    /// started, which Qt has reported then. To be called once, by the thread that called start().
    void waitUntilRunning();

protected:
    void run() override;

private:
    QSemaphore _running;
};

#endif
