#include <QString>

#include <vector>

#include "fakes/FailingAllocation.h"
#include "indications/IndicationManager.h"
#include <gmock/gmock.h>

TEST(IndicationManagerMemory, GivesNoIndicationAndShowsNoneWhereMemoryIsShort)
{
    const QString name = QStringLiteral("DecoderMode");
    int failures = 0;
    bool hasFailed = true;
    for (int before = 0; hasFailed; ++before) {
        const ModkitPtr<IndicationManager> manager(new IndicationManager);
        // The second one joins the first one's owner, the third one begins another.
        const auto first = manager->createIndication(nullptr, QStringLiteral("DecoderLost"), name, 0);
        std::vector<ModkitPtr<IIndicationObject>> created(2);
        {
            const FailingAllocation failure(before);
            for (ModkitPtr<IIndicationObject> &indication : created)
                indication = manager->createIndication(nullptr, name, name, 0);
            hasFailed = failure.hasFailed();
        }
        std::size_t shownCount = 0;
        for (const IndicationManager::Owner &owner : manager->snapshot()) {
            EXPECT_FALSE(owner.values.empty());
            shownCount += owner.values.size();
        }
        const std::size_t missingCount =
            static_cast<std::size_t>(created[0].isNull()) + static_cast<std::size_t>(created[1].isNull());
        EXPECT_EQ(shownCount, 3 - missingCount);
        failures += static_cast<int>(missingCount);
    }
    EXPECT_GE(failures, 4);
}
