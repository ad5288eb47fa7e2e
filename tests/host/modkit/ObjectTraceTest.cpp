#include "modkit/ObjectTrace.h"

#include <cstdlib>
#include <unistd.h>

#include "strata/base/modkit/modkit"
#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace traced {

class IView {
public:
    virtual ~IView() = default;
};

class Picture final : public IPolymorph, public IView {};

class Sound final : public IPolymorph {};

} // namespace traced

namespace {

const char *const pictureName = typeid(traced::Picture).name();
const char *const soundName = typeid(traced::Sound).name();

// Lets a child process prove that the trace still works when static objects are destroyed. It is constructed before the
// first use of the trace, so its destructor runs after whatever the trace might have left to the end of the process.
class ExitWitness {
public:
    ~ExitWitness()
    {
        if (picture.isNull())
            return;
        ModkitCounter sound;
        ModkitObjectTrace_Add(&sound, soundName, 0);
        const bool works = ObjectTrace::liveCount() == 2 && ObjectTrace::liveCountByType().size() == 2;
        _exit(works ? 0 : 1);
    }

    ModkitPtr<traced::Picture> picture;
};

ExitWitness exitWitness;

} // namespace

TEST(ObjectTrace, ObjectIsListedUnderItsReadableTypeWhileItLives)
{
    ModkitPtr<IPolymorph> picture(new traced::Picture);
    ModkitPtr<IPolymorph> otherPicture(new traced::Picture);
    ModkitPtr<IPolymorph> sound(new traced::Sound);
    EXPECT_EQ(ObjectTrace::liveCount(), 3U);
    EXPECT_THAT(ObjectTrace::liveCountByType(), ElementsAre(Pair("traced::Picture", 2U), Pair("traced::Sound", 1U)));

    picture.reset();
    sound.reset();
    EXPECT_EQ(ObjectTrace::liveCount(), 1U);
    EXPECT_THAT(ObjectTrace::liveCountByType(), ElementsAre(Pair("traced::Picture", 1U)));
}

TEST(ObjectTrace, ObjectsOfOneTypeAreCountedTogetherWhereverTheirBlocksLie)
{
    std::vector<ModkitPtr<IPolymorph>> pictures;
    pictures.reserve(1000);
    for (int i = 0; i < 1000; ++i)
        pictures.emplace_back(new traced::Picture);
    EXPECT_EQ(ObjectTrace::liveCount(), 1000U);
    EXPECT_THAT(ObjectTrace::liveCountByType(), ElementsAre(Pair("traced::Picture", 1000U)));
    pictures.clear();
    EXPECT_EQ(ObjectTrace::liveCount(), 0U);
}

TEST(ObjectTrace, ConversionOfAListedBlockChangesNothing)
{
    ModkitPtr<traced::Picture> picture(new traced::Picture);
    ModkitPtr<traced::IView> view = picture;
    ModkitPtr<IPolymorph> polymorph = view;
    EXPECT_THAT(ObjectTrace::liveCountByType(), ElementsAre(Pair("traced::Picture", 1U)));

    picture.reset();
    view.reset();
    EXPECT_EQ(ObjectTrace::liveCount(), 1U);
    polymorph.reset();
    EXPECT_EQ(ObjectTrace::liveCount(), 0U);
}

TEST(ObjectTrace, FurtherReferenceEntersAnUnknownBlockOnce)
{
    ModkitCounter counter;
    ModkitObjectTrace_Add(&counter, pictureName, 1);
    ModkitObjectTrace_Add(&counter, soundName, 1);
    EXPECT_THAT(ObjectTrace::liveCountByType(), ElementsAre(Pair("traced::Picture", 1U)));
    ModkitObjectTrace_Remove(&counter);
    EXPECT_EQ(ObjectTrace::liveCount(), 0U);
}

TEST(ObjectTrace, NewBlockTakesThePlaceOfOneThatWentUntraced)
{
    ModkitCounter counter;
    ModkitObjectTrace_Add(&counter, pictureName, 0);
    ModkitObjectTrace_Add(&counter, soundName, 0);
    EXPECT_EQ(ObjectTrace::liveCount(), 1U);
    EXPECT_THAT(ObjectTrace::liveCountByType(), ElementsAre(Pair("traced::Sound", 1U)));
    ModkitObjectTrace_Remove(&counter);
    EXPECT_EQ(ObjectTrace::liveCount(), 0U);
}

TEST(ObjectTrace, NullCounterIsIgnored)
{
    ModkitObjectTrace_Add(nullptr, pictureName, 0);
    ModkitObjectTrace_Add(nullptr, pictureName, 1);
    EXPECT_EQ(ObjectTrace::liveCount(), 0U);
    ModkitObjectTrace_Remove(nullptr);
    EXPECT_EQ(ObjectTrace::liveCount(), 0U);
}

TEST(ObjectTrace, RemovalOfAnUnknownBlockIsIgnored)
{
    ModkitCounter listed;
    ModkitCounter unknown;
    ModkitObjectTrace_Add(&listed, pictureName, 0);
    ModkitObjectTrace_Remove(&unknown);
    EXPECT_THAT(ObjectTrace::liveCountByType(), ElementsAre(Pair("traced::Picture", 1U)));
    ModkitObjectTrace_Remove(&listed);
    ModkitObjectTrace_Remove(&listed);
    EXPECT_EQ(ObjectTrace::liveCount(), 0U);
    EXPECT_THAT(ObjectTrace::liveCountByType(), IsEmpty());
}

TEST(ObjectTrace, TypeNameIsCopied)
{
    ModkitCounter counter;
    std::string name = "N6traced5VideoE";
    ModkitObjectTrace_Add(&counter, name.c_str(), 0);
    name.assign(name.size(), 'x');
    EXPECT_THAT(ObjectTrace::liveCountByType(), ElementsAre(Pair("traced::Video", 1U)));
    ModkitObjectTrace_Remove(&counter);
}

TEST(ObjectTrace, TypeNameThatCannotBeMadeReadableIsListedAsItIs)
{
    ModkitCounter counter;
    ModkitObjectTrace_Add(&counter, "no type name", 0);
    EXPECT_THAT(ObjectTrace::liveCountByType(), ElementsAre(Pair("no type name", 1U)));
    ModkitObjectTrace_Remove(&counter);
}

TEST(ObjectTrace, WorksWhileStaticObjectsAreDestroyed)
{
    EXPECT_EXIT(
        {
            exitWitness.picture = ModkitPtr<traced::Picture>(new traced::Picture);
            std::exit(2); // NOLINT(concurrency-mt-unsafe): the child process has one thread
        },
        testing::ExitedWithCode(0), "");
}
