#include <array>

#include <decoding/Error.h>
#include <decoding/Mode.h>
#include <decoding/Snapshot.h>
#include <decoding/Version.h>

namespace {

constexpr std::array<const char *, 8> stateWords = {"queued",  "connecting", "ready",  "running",
                                                    "waiting", "ended",      "failed", "no-decoder"};
constexpr std::array<const char *, 2> modeWords = {"performance", "time-saving"};

} // namespace

decoding::Error::~Error() = default;

const char *decoding::version()
{
    return DECODING_VERSION;
}

const char *decoding::toText(State state)
{
    return stateWords.at(static_cast<std::size_t>(state));
}

const char *decoding::toText(Mode mode)
{
    return modeWords.at(static_cast<std::size_t>(mode));
}
