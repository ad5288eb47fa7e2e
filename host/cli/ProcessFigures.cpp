#include "cli/ProcessFigures.h"

#include <QThread>

#include <algorithm>
#include <ctime>

#include <sys/resource.h>

void ProcessFigures::allowManyOpenFiles()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

qint64 ProcessFigures::cpuTimeMs()
{
    return static_cast<qint64>(std::clock()) * 1000 / CLOCKS_PER_SEC;
}

qint64 ProcessFigures::peakMemoryBytes()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<qint64>(usage.ru_maxrss) * 1024;
}

int ProcessFigures::cores()
{
    return std::max(1, QThread::idealThreadCount());
}
