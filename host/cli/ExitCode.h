#ifndef HOST_CLI_EXITCODE_H
#define HOST_CLI_EXITCODE_H

/// How decoding-host tells its caller what became of a run. docs/host.md describes them to users.
namespace ExitCode {

constexpr int success = 0;
constexpr int failure = 1;    // something could not be done, or something was left behind
constexpr int wrongUsage = 2; // the command line makes no sense; nothing was begun
constexpr int interrupted = 130;

} // namespace ExitCode

#endif
