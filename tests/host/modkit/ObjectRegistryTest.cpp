#include "modkit/ObjectRegistry.h"

#include <functional>
#include <utility>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Object final : public IPolymorph {
public:
    explicit Object(std::function<void()> onDestruction = [] {})
        : _onDestruction(std::move(onDestruction))
    {
    }
    ~Object() override { _onDestruction(); }

private:
    std::function<void()> _onDestruction;
};

ModkitPtr<IPolymorph> makeObject()
{
    return ModkitPtr<IPolymorph>(new Object);
}

} // namespace

TEST(ObjectRegistry, PublishedObjectIsFoundUnderItsIdentifierOnly)
{
    ObjectRegistry registry;
    const ModkitPtr<IPolymorph> object = makeObject();
    registry.setObject("one", object);
    EXPECT_TRUE(registry.getObject("one") == object);
    EXPECT_TRUE(registry.getObject("two").isNull());
}

TEST(ObjectRegistry, SettingAnObjectReturnsWhatStoodThereBefore)
{
    ObjectRegistry registry;
    const ModkitPtr<IPolymorph> first = makeObject();
    const ModkitPtr<IPolymorph> second = makeObject();
    EXPECT_TRUE(registry.setObject("one", first).isNull());
    EXPECT_TRUE(registry.setObject("one", second) == first);
    EXPECT_TRUE(registry.setObject("one", ModkitPtr<IPolymorph>()) == second);
    EXPECT_TRUE(registry.setObject("one", ModkitPtr<IPolymorph>()).isNull());
}

TEST(ObjectRegistry, IdentifiersAreThoseOfPublishedObjectsInOrder)
{
    ObjectRegistry registry;
    EXPECT_THAT(registry.identifiers(), IsEmpty());
    registry.setObject("two", makeObject());
    registry.setObject("one", makeObject());
    registry.setObject("six", makeObject());
    EXPECT_THAT(registry.identifiers(), ElementsAre("one", "six", "two"));
}

TEST(ObjectRegistry, EmptyPointerWithdraws)
{
    ObjectRegistry registry;
    registry.setObject("one", makeObject());
    registry.setObject("one", ModkitPtr<IPolymorph>());
    registry.setObject("never published", ModkitPtr<IPolymorph>());
    EXPECT_TRUE(registry.getObject("one").isNull());
    EXPECT_THAT(registry.identifiers(), IsEmpty());
}

TEST(ObjectRegistry, ReferenceIsKeptWhilePublishedAndNoLonger)
{
    ObjectRegistry registry;
    int destroyed = 0;
    registry.setObject("one", ModkitPtr<IPolymorph>(new Object([&destroyed] { ++destroyed; })));
    EXPECT_EQ(destroyed, 0);
    registry.setObject("one", makeObject());
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectRegistry, DestructorOfAReplacedOrWithdrawnObjectMayCallTheRegistry)
{
    ObjectRegistry registry;
    std::vector<std::string> seen;
    const auto publishWitness = [&registry, &seen] {
        registry.setObject("one", ModkitPtr<IPolymorph>(new Object([&] { seen = registry.identifiers(); })));
    };
    publishWitness();
    registry.setObject("one", makeObject());
    EXPECT_THAT(seen, ElementsAre("one"));

    publishWitness();
    registry.setObject("two", makeObject());
    registry.setObject("one", ModkitPtr<IPolymorph>());
    EXPECT_THAT(seen, ElementsAre("two"));
}

TEST(ObjectRegistry, DestructorOfAnObjectThatIsLeftFindsTheRegistryEmpty)
{
    std::vector<std::string> seen{"not destroyed"};
    {
        ObjectRegistry registry;
        registry.setObject("one", ModkitPtr<IPolymorph>(new Object([&] { seen = registry.identifiers(); })));
        registry.setObject("two", makeObject());
    }
    EXPECT_THAT(seen, IsEmpty());
}
