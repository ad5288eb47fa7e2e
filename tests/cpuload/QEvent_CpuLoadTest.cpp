#include "cpuload/QEvent_CpuLoad.h"

#include <gmock/gmock.h>

TEST(QEventCpuLoad, IsTheFirstUserEventAndCarriesTheLoad)
{
    const QEvent_CpuLoad event(0.625);
    EXPECT_EQ(static_cast<int>(event.type()), 1000);
    EXPECT_EQ(event.load, 0.625);
}
