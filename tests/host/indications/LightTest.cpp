#include "indications/Light.h"

#include <limits>

#include <gmock/gmock.h>

TEST(Light, EachKnownValueHasItsOwn)
{
    EXPECT_EQ(lightOf(0), Light::Good);
    EXPECT_EQ(lightOf(1), Light::Warning);
    EXPECT_EQ(lightOf(2), Light::Bad);
    EXPECT_EQ(lightOf(3), Light::Black);
}

TEST(Light, AValueThatNobodyKnowsIsBad)
{
    for (const int value : {-1, 4, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
        EXPECT_EQ(lightOf(value), Light::Bad) << value;
}
