#include "terminal/RowHealth.h"

#include <algorithm>

using Row = BoardState::Row;

namespace {

/// From here on the latency light is red.
constexpr qint64 lateMs = 150;

RowHealth::Degree degreeOfRunning(const Row &row)
{
    if (row.framesPerSecond && *row.framesPerSecond <= 0)
        return RowHealth::Still;
    if (!row.lights)
        return RowHealth::Well;

    const BoardState::Lights &lights = *row.lights;
    const bool isFaulty = std::any_of(lights.begin(), lights.end(), [&lights](const Light &light) {
        const auto index = &light - lights.data();
        return light == Light::Bad && index != BoardState::LostLight && index != BoardState::LatencyLight;
    });
    if (isFaulty)
        return RowHealth::Faulty;
    if (lights[BoardState::LostLight] == Light::Bad)
        return RowHealth::Losing;
    const Light latency = lights[BoardState::LatencyLight];
    if (row.latencyMs ? *row.latencyMs >= lateMs : latency == Light::Bad)
        return RowHealth::Late;
    const bool isUneasy =
        latency == Light::Bad || latency == Light::Warning || lights[BoardState::LostLight] == Light::Warning;
    return isUneasy ? RowHealth::Uneasy : RowHealth::Well;
}

} // namespace

RowHealth RowHealth::of(const Row &row)
{
    switch (row.state) {
    case Row::State::Connecting:
        return {Connecting};
    case Row::State::Running:
        return {degreeOfRunning(row)};
    case Row::State::Waiting:
        return {Waiting};
    case Row::State::Ended:
        return {Over};
    case Row::State::Failed:
        return {Failed};
    }
    return {};
}

const char *RowHealth::text() const
{
    switch (degree) {
    case Well:
        return "";
    case Over:
        return "has ended";
    case Connecting:
        return "connecting";
    case Uneasy:
        return "has lost blocks or was late";
    case Late:
        return "late";
    case Losing:
        return "losing blocks";
    case Faulty:
        return "a light is red";
    case Still:
        return "gives no frames";
    case Waiting:
        return "waiting to connect again";
    case Failed:
        return "failed";
    }
    return "";
}
