#include "terminal/RowHealth.h"

#include <algorithm>

using decoding::Light;
using decoding::Snapshot;
using decoding::State;

namespace {

/// From here on the latency light is red.
constexpr std::int64_t lateMs = 150;

RowHealth::Degree degreeByLights(const StreamRow &row)
{
    if (!row.lights())
        return RowHealth::Well;
    const StreamRow::Lights &lights = *row.lights();
    const bool isFaulty = std::any_of(lights.begin(), lights.end(), [&lights](const Light &light) {
        const auto index = &light - lights.data();
        return light == Light::Bad && index != Snapshot::LostLight && index != Snapshot::LatencyLight;
    });
    if (isFaulty)
        return RowHealth::Faulty;
    if (lights[Snapshot::LostLight] == Light::Bad)
        return RowHealth::Losing;
    const Light latency = lights[Snapshot::LatencyLight];
    if (row.latencyMs() ? *row.latencyMs() >= lateMs : latency == Light::Bad)
        return RowHealth::Late;
    const bool isUneasy =
        latency == Light::Bad || latency == Light::Warning || lights[Snapshot::LostLight] == Light::Warning;
    return isUneasy ? RowHealth::Uneasy : RowHealth::Well;
}

RowHealth::Degree degreeOfRunning(const StreamRow &row)
{
    if (row.lacksFrames() || (row.framesPerSecond() && *row.framesPerSecond() <= 0))
        return RowHealth::Still;
    if (row.isFailingToWrite())
        return RowHealth::NotWritten;
    return std::max(degreeByLights(row), row.isDamaged() ? RowHealth::Damaged : RowHealth::Well);
}

} // namespace

RowHealth RowHealth::of(const StreamRow &row)
{
    switch (row.state()) {
    case State::Queued:
        return {Queued};
    case State::Connecting:
        return {Connecting};
    case State::Ready:
        return {Ready};
    case State::Running:
        return {degreeOfRunning(row)};
    case State::Waiting:
        return {Waiting};
    case State::Ended:
        return {Over};
    case State::Failed:
        return {Failed};
    case State::NoDecoder:
        return {NoDecoder};
    }
    return {};
}

const char *RowHealth::text() const
{
    switch (degree) {
    case Well:
        return "";
    case Ready:
        return "nobody asks for its frames yet";
    case Over:
        return "has ended";
    case Queued:
        return "waits for its turn";
    case Connecting:
        return "connecting";
    case Uneasy:
        return "has lost blocks or was late";
    case Late:
        return "late";
    case Losing:
        return "losing blocks";
    case Damaged:
        return "damaged";
    case Faulty:
        return "a light is red";
    case NotWritten:
        return "an output is not written";
    case Still:
        return "gives no frames";
    case NoDecoder:
        return "no decoder";
    case Waiting:
        return "waiting to connect again";
    case Failed:
        return "failed";
    }
    return "";
}
