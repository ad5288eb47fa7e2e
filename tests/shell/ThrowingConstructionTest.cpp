#include <stdexcept>

#include "interfaces/ComponentExports.h"
#include "manager/DecodingManager.h"
#include <gmock/gmock.h>

// The exports, compiled with a component object whose construction throws.

TEST(ThrowingConstruction, ReachesTheCallerWithANullObjectAndTheMemoryGivenBack)
{
    int something = 0;
    IComponent *object = reinterpret_cast<IComponent *>(&something);
    EXPECT_THROW(ModkitGetObject(&object, 3264), std::runtime_error);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(DecodingManager::blocksTaken, 1);
    EXPECT_EQ(DecodingManager::blocksGivenBack, 1);
}

TEST(ThrowingConstruction, IsNotTriedForAnotherKey)
{
    const int before = DecodingManager::blocksTaken;
    IComponent *object = nullptr;
    EXPECT_NO_THROW(ModkitGetObject(&object, 3263));
    EXPECT_EQ(DecodingManager::blocksTaken, before);
}
