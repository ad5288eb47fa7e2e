#ifndef BENCH_NULLFRAMEWORK_H
#define BENCH_NULLFRAMEWORK_H

#include <QSemaphore>

#include <memory>
#include <vector>

#include "interfaces/IAVFormatManager.h"
#include "interfaces/IObjectRegistry.h"
#include "manager/DecodingManager.h"

/// A decoding manager that is initialised, in a framework without indications. Stops it in the end. Thread-bound.
class NullFramework final : public IObjectRegistry {
public:
    NullFramework(int threadCount, const ModkitPtr<IAVFormatManager> &formatManager);
    NullFramework(const NullFramework &) = delete;
    NullFramework &operator=(const NullFramework &) = delete;
    ~NullFramework();

    /// Places a decoder for @p queue or joins the one that is there. @return the handle, which must be dropped first.
    ModkitPtr<IDecoder> decode(const ModkitPtr<IInputQueue> &queue);

    /// Waits until the decoder threads have done what was asked of them up to now.
    void settle();

    /// From the return of holdThreads to letThreadsGo, the decoder threads do nothing at all.
    void holdThreads();
    void letThreadsGo();

    /// Stops the manager before its time.
    void stop();

    ModkitPtr<IPolymorph> setObject(const std::string &identifier, const ModkitPtr<IPolymorph> &object) override;
    ModkitPtr<IPolymorph> getObject(const std::string &identifier) override;

private:
    class Gate;

    ModkitPtr<IAVFormatManager> _formatManager;
    ModkitPtr<IVideoOutputQueue> _output;
    ModkitPtr<IComponent> _component;
    DecodingManager *_manager;
    std::vector<std::unique_ptr<Gate>> _gates; // one on each decoder thread
    QSemaphore _held;
    QSemaphore _letGo;
    bool _isRunning = true;
};

#endif
