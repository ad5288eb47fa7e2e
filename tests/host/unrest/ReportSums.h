#ifndef TESTS_HOST_UNREST_REPORTSUMS_H
#define TESTS_HOST_UNREST_REPORTSUMS_H

#include <QString>

#include "host/decode/HostRun.h"

/// Whether the figures of a report agree with each other and with the files that were written.
namespace ReportSums {

/// Fails the calling test where they do not, and says which count of which input. @param directory of the framemd5
/// files, which are the only outputs.
void expectRight(const HostRun &run, const QString &directory);

} // namespace ReportSums

#endif
