#include "decoders/TimeStatistic.h"

#include <QTextCodec>

#include <initializer_list>
#include <limits>
#include <string>

#include "fakes/RecordedMessages.h"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// While it lives, texts of the system are in @p codecName.
class LocalEncoding {
public:
    explicit LocalEncoding(const char *codecName)
    {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(codecName));
    }
    ~LocalEncoding() { QTextCodec::setCodecForLocale(_previous); }
    LocalEncoding(const LocalEncoding &) = delete;
    LocalEncoding &operator=(const LocalEncoding &) = delete;

private:
    QTextCodec *const _previous = QTextCodec::codecForLocale();
};

const qint64 firstMs = 1234567890123;
const qint64 maximum = std::numeric_limits<qint64>::max();
const qint64 minimum = std::numeric_limits<qint64>::min();

class TimeStatisticTest : public testing::Test {
protected:
    /// @param times of samples, in ms after the first sample.
    void addAt(std::initializer_list<qint64> times)
    {
        for (const qint64 time : times)
            statistic.addSample(firstMs + time);
    }

    void addAt(qint64 time, int samples)
    {
        for (int sample = 0; sample < samples; ++sample)
            statistic.addSample(firstMs + time);
    }

    void expectFreshPeriodAt(qint64 time)
    {
        EXPECT_EQ(statistic._count, 1u);
        EXPECT_EQ(statistic._last, time);
        EXPECT_EQ(statistic._sum, 0);
        EXPECT_EQ(statistic._sumSquares, 0);
        EXPECT_EQ(statistic._max, -1);
        EXPECT_EQ(statistic._min, maximum);
    }

    RecordedMessages messages;
    TimeStatistic statistic{QString::fromLatin1("camera 1")};
};

} // namespace

TEST_F(TimeStatisticTest, IsEmptyAtFirst)
{
    EXPECT_EQ(statistic._name, QString::fromLatin1("camera 1"));
    EXPECT_EQ(statistic._origin, 0);
    EXPECT_EQ(statistic._last, 0);
    EXPECT_EQ(statistic._max, -1);
    EXPECT_EQ(statistic._min, maximum);
    EXPECT_EQ(statistic._sum, 0);
    EXPECT_EQ(statistic._sumSquares, 0);
    EXPECT_EQ(statistic._count, 0u);
}

TEST_F(TimeStatisticTest, FirstSampleOnlySetsTheOriginAndStartsAPeriod)
{
    addAt({0});
    EXPECT_EQ(statistic._origin, firstMs);
    expectFreshPeriodAt(0);
    EXPECT_THAT(messages.take(), IsEmpty());
}

TEST_F(TimeStatisticTest, ReportCountsTheCrossingIntervalOnlyInMinimumAndMaximum)
{
    addAt({0, 100, 250});
    EXPECT_THAT(messages.take(), IsEmpty());
    addAt({60100});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 3 250 125 25 59850 150"));
}

TEST_F(TimeStatisticTest, CrossingSampleStartsTheNextPeriod)
{
    addAt({0, 100, 250, 60100});
    expectFreshPeriodAt(60100);
    EXPECT_EQ(statistic._origin, firstMs);
}

TEST_F(TimeStatisticTest, CrossingIntervalCanBeTheMinimum)
{
    addAt({0, 100, 59990, 60001});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 3 59990 29995 29895 59890 11"));
}

TEST_F(TimeStatisticTest, LaterPeriodCountsItsFirstIntervalInMinimumAndMaximumToo)
{
    addAt({0, 100, 250, 60100, 60200, 60500, 120000});
    EXPECT_THAT(messages.take(),
                ElementsAre("debug: camera 1: 3 250 125 25 59850 150", "debug: camera 1: 3 400 200 100 59500 100"));
}

TEST_F(TimeStatisticTest, IntervalAfterASampleAtTheOriginIsLeftOutOfMinimumAndMaximum)
{
    addAt({0, 100});
    EXPECT_EQ(statistic._max, -1);
    EXPECT_EQ(statistic._min, maximum);
    EXPECT_EQ(statistic._count, 2u);
    EXPECT_EQ(statistic._sum, 100);
    EXPECT_EQ(statistic._sumSquares, 10000);
    EXPECT_EQ(statistic._last, 100);
}

TEST_F(TimeStatisticTest, MinutesCountFromTheFirstSample)
{
    addAt({0, 10, 59999});
    EXPECT_THAT(messages.take(), IsEmpty());
    addAt({60000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 3 59999 29999 29989 59989 1"));
    addAt({119999});
    EXPECT_THAT(messages.take(), IsEmpty());
    addAt({120000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 2 59999 59999 0 59999 1"));
}

TEST_F(TimeStatisticTest, PeriodOfOneSampleIsReportedWithDashes)
{
    addAt({0, 10, 60000, 120000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 2 10 10 0 59990 59990", "debug: camera 1: 1 - -"));
}

TEST_F(TimeStatisticTest, SecondSampleBeyondTheMinuteDoesNotReport)
{
    addAt({0, 200000});
    EXPECT_THAT(messages.take(), IsEmpty());
    EXPECT_EQ(statistic._count, 2u);
    EXPECT_EQ(statistic._sum, 200000);
    addAt({200001, 240000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 3 200001 100000 99999 39999 1"));
}

TEST_F(TimeStatisticTest, MinutesWithoutSamplesWriteNothing)
{
    addAt({0, 100, 600000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 2 100 100 0 599900 599900"));
}

TEST_F(TimeStatisticTest, SamplesInTheSameMillisecondCountAsAnIntervalOfZero)
{
    addAt({0, 0, 0});
    EXPECT_EQ(statistic._count, 3u);
    EXPECT_EQ(statistic._sum, 0);
    addAt({10, 10, 60000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 5 10 2 4 59990 0"));
}

TEST_F(TimeStatisticTest, MeanAndVarianceAreRoundedTowardsZero)
{
    addAt({0, 3, 4, 9, 60000}); // intervals 3, 1, 5: variance 8/3
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 4 9 3 1 59991 1"));
}

TEST_F(TimeStatisticTest, NegativeVarianceIsReportedAsADash)
{
    addAt({0, 4000000000, 4000000001}); // the first interval's square overflows
    addAt({4000020000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 3 4000000001 2000000000 - 19999 1"));
}

TEST_F(TimeStatisticTest, IntervalsWhoseSquareIsZeroInThirtyTwoBitsAreReportedWithoutADeviation)
{
    addAt({0});
    addAt(1, 65536);
    addAt({60000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 65537 1 0 - 59999 0"));
}

TEST_F(TimeStatisticTest, SquareOfTheNumberOfIntervalsIsAThirtyTwoBitProduct)
{
    addAt({0});
    addAt(1000, 65537);
    addAt({60000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 65538 1000 0 707 59000 0"));
}

TEST_F(TimeStatisticTest, MeanIsAThirtyTwoBitValue)
{
    addAt({0, 3000000000, 3000060000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 2 3000000000 -1294967296 0 60000 60000"));
}

TEST_F(TimeStatisticTest, MaximumAndMinimumArePrintedAsLong)
{
    addAt({0, 1, 5000000001});
    const std::string interval = std::to_string(static_cast<long>(5000000000));
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 2 1 1 0 " + interval + " " + interval));
}

TEST_F(TimeStatisticTest, ClockSetBackGivesANegativeInterval)
{
    addAt({0, 1000, 400, 60000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 3 400 200 800 59600 -600"));
}

TEST_F(TimeStatisticTest, ClockSetBackByAMinuteBeforeTheOriginReports)
{
    addAt({0, 100, -59999});
    EXPECT_THAT(messages.take(), IsEmpty());
    addAt({-60000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 3 -59999 -29999 30099 -1 -60099"));
    expectFreshPeriodAt(-60000);
}

TEST_F(TimeStatisticTest, ClockSetBackToAnEarlierMinuteReports)
{
    addAt({0, 10, 60000, 59000});
    EXPECT_THAT(messages.take(), ElementsAre("debug: camera 1: 2 10 10 0 59990 59990", "debug: camera 1: 1 - -"));
    expectFreshPeriodAt(59000);
}

TEST_F(TimeStatisticTest, SampleAfterAReturnToTheOriginDoesNotReport)
{
    addAt({0, 100, 0, 70000});
    EXPECT_THAT(messages.take(), IsEmpty());
    EXPECT_EQ(statistic._count, 4u);
    EXPECT_EQ(statistic._sum, 70000);
    EXPECT_EQ(statistic._min, -100);
    EXPECT_EQ(statistic._max, -1);
}

TEST_F(TimeStatisticTest, SampleAtTheEpochLeavesTheOriginUnset)
{
    statistic.addSample(0);
    EXPECT_EQ(statistic._origin, 0);
    statistic.addSample(77);
    EXPECT_EQ(statistic._origin, 77);
    EXPECT_EQ(statistic._last, 0);
    EXPECT_EQ(statistic._count, 2u);
}

TEST_F(TimeStatisticTest, NameIsNotAFormat)
{
    TimeStatistic named(QString::fromLatin1("100%s %n"));
    for (const qint64 time : {0, 1, 60000, 120000})
        named.addSample(firstMs + time);
    EXPECT_THAT(messages.take(), ElementsAre("debug: 100%s %n: 2 1 1 0 59999 59999", "debug: 100%s %n: 1 - -"));
}

TEST_F(TimeStatisticTest, NameIsReadAsItIsInEveryLocalEncoding)
{
    const std::string name = "K\u00fcche \u9580";
    for (const char *encoding : {"UTF-8", "ISO-8859-1", "US-ASCII"}) {
        const LocalEncoding local(encoding);
        TimeStatistic named(QString::fromStdString(name));
        for (const qint64 time : {0, 1, 60000, 120000})
            named.addSample(firstMs + time);
        EXPECT_THAT(messages.take(),
                    ElementsAre("debug: " + name + ": 2 1 1 0 59999 59999", "debug: " + name + ": 1 - -"))
            << encoding;
    }
}

TEST_F(TimeStatisticTest, NegativeVarianceLineCarriesTheNameToo)
{
    TimeStatistic named(QString::fromLatin1("50%d"));
    for (const qint64 time : {Q_INT64_C(0), Q_INT64_C(4000000000), Q_INT64_C(4000000001), Q_INT64_C(4000020000)})
        named.addSample(firstMs + time);
    EXPECT_THAT(messages.take(), ElementsAre("debug: 50%d: 3 4000000001 2000000000 - 19999 1"));
}

TEST_F(TimeStatisticTest, ExtremeTimesWrapAround)
{
    for (const qint64 extreme :
         {maximum, minimum, Q_INT64_C(1), minimum, maximum, Q_INT64_C(-1), maximum, Q_INT64_C(0)})
        statistic.addSample(extreme);
    EXPECT_EQ(statistic._origin, maximum);
    EXPECT_EQ(statistic._last, -maximum);
    EXPECT_THAT(messages.take(), SizeIs(3));
}

TEST_F(TimeStatisticTest, SumsAtTheirLimitsWrapAround)
{
    addAt({0, 1});
    statistic._sum = maximum;
    statistic._sumSquares = maximum;
    addAt({3});
    EXPECT_EQ(statistic._sum, minimum + 1);
    EXPECT_EQ(statistic._sumSquares, minimum + 3);
    addAt({60000});
    EXPECT_THAT(messages.take(), SizeIs(1));
}

TEST_F(TimeStatisticTest, CountThatWrapsToZeroBeginsAPeriodAnew)
{
    addAt({0, 1});
    statistic._count = 0xffffffff;
    addAt({2});
    EXPECT_EQ(statistic._count, 0u);
    addAt({3});
    expectFreshPeriodAt(3);
}
