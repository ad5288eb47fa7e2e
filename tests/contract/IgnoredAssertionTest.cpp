#include <cstdlib>
#include <cstring>

#include "fakes/IgnoredAssertions.h"
#include "fakes/RecordedTrace.h"
#include "strata/base/modkit/modkit"
#include <gmock/gmock.h>

// What a runtime that lets the process go on after a failed assertion finds.

namespace {

using testing::ExitedWithCode;

class Plain : public IPolymorph {};

/// Ends the process with 0 when @p holds.
void exitIf(bool holds)
{
    std::exit(holds ? 0 : 1);
}

void goOnAfterTheReport()
{
    IgnoredAssertions ignored;
    ModkitReportToRuntime("expression", "file", 7);
    exitIf(ignored.take() == std::vector<std::string>{"file:7: expression"});
}

void goOnAfterABrokenInvariant()
{
    IgnoredAssertions ignored;
    Plain thing;
    void *const words[] = {nullptr, &thing};
    ModkitPtr<Plain> broken;
    std::memcpy(static_cast<void *>(&broken), words, sizeof words);
    RecordedTrace::take();
    const ModkitPtr<IPolymorph> converted = broken;
    const std::vector<RecordedTrace::Call> expected{{RecordedTrace::Call::Add, nullptr, typeid(Plain).name(), 1}};
    exitIf(ignored.take().size() == 1 && converted.data() == &thing && RecordedTrace::take() == expected);
}

} // namespace

// In processes of their own, because code behind a call that is taken for never returning is any code.

TEST(IgnoredAssertionDeathTest, ReportReturnsToItsCaller)
{
    EXPECT_EXIT(goOnAfterTheReport(), ExitedWithCode(0), "");
}

TEST(IgnoredAssertionDeathTest, ConversionOfABrokenPointerCompletes)
{
    EXPECT_EXIT(goOnAfterABrokenInvariant(), ExitedWithCode(0), "");
}
