#include "ClassLayout.h"

#include <cctype>
#include <ostream>

#include "ContractLayouts.h"
#include <gmock/gmock.h>

// The order of bases, fields and operations needs no test of its own: it follows from the offsets and the slots.

void PrintTo(const ClassLayout &layout, std::ostream *stream)
{
    *stream << layout.name;
}

namespace {

class ClassLayoutTest : public testing::TestWithParam<ClassLayout> {
protected:
    static void expectStated(const std::vector<ClassLayout::Place> &places)
    {
        for (const ClassLayout::Place &place : places)
            EXPECT_EQ(place.actual, place.stated) << GetParam().name << ": " << place.name << " " << place.type;
    }
};

std::string nameOf(const testing::TestParamInfo<ClassLayout> &info)
{
    std::string name;
    for (const char letter : info.param.name) {
        if (std::isalnum(static_cast<unsigned char>(letter)))
            name += letter;
    }
    return name;
}

} // namespace

TEST_P(ClassLayoutTest, HasItsBasesFieldsAndOperationsInTheirPlaces)
{
    expectStated(GetParam().bases);
    expectStated(GetParam().fields);
    expectStated(GetParam().operations);
    EXPECT_EQ(GetParam().actualSize, GetParam().statedSize);
}

INSTANTIATE_TEST_SUITE_P(Contract, ClassLayoutTest, testing::ValuesIn(contractLayouts()), nameOf);
INSTANTIATE_TEST_SUITE_P(Component, ClassLayoutTest, testing::ValuesIn(componentLayouts()), nameOf);
