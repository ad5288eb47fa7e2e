#include "manager/DecoderThread.h"

void DecoderThread::waitUntilRunning()
{
    if (isRunning())
        _running.acquire();
}

void DecoderThread::run()
{
    _running.release();
    exec();
}
