#include <QHash>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "fakes/RecordedTrace.h"
#include "fakes/RuntimeReport.h"
#include "strata/base/modkit/modkit"
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Call = RecordedTrace::Call;

class IThing : public IPolymorph {
public:
    virtual int number() = 0;
};

class IOther : public IPolymorph {};

/// Two unrelated bases, so that a conversion moves the address; tells of its end.
class Padding {
public:
    virtual ~Padding() = default;
    int padding = 0;
};

class Thing : public Padding, public IThing {
public:
    explicit Thing(std::vector<std::string> *log = nullptr)
        : _log(log)
    {
    }
    ~Thing() override
    {
        if (_log)
            _log->push_back("destroyed");
        if (!RecordedTrace::liveByTypeName().empty() && _log)
            _log->push_back("still traced");
    }
    int number() override { return 7; }

private:
    std::vector<std::string> *_log;
};

/// The two words of a ModkitPtr, in their order.
struct Words {
    ModkitCounter *counter;
    void *object;
};

template <class T>
Words wordsOf(const ModkitPtr<T> &pointer)
{
    static_assert(sizeof(pointer) == sizeof(Words), "a counter pointer and an object pointer");
    Words words;
    std::memcpy(&words, static_cast<const void *>(&pointer), sizeof words);
    return words;
}

template <class T>
void overwrite(ModkitPtr<T> &pointer, const Words &words)
{
    std::memcpy(static_cast<void *>(&pointer), &words, sizeof words);
}

class ModkitPtrTest : public testing::Test {
protected:
    void SetUp() override { RecordedTrace::take(); }
    void TearDown() override { EXPECT_THAT(RecordedTrace::liveByTypeName(), IsEmpty()); }
};

const char *const thingName = typeid(Thing).name();

} // namespace

TEST_F(ModkitPtrTest, DefaultConstructedIsEmpty)
{
    const ModkitPtr<IThing> pointer;
    EXPECT_TRUE(pointer.isNull());
    EXPECT_EQ(pointer.data(), nullptr);
    EXPECT_EQ(wordsOf(pointer).counter, nullptr);
    EXPECT_EQ(wordsOf(pointer).object, nullptr);
}

TEST_F(ModkitPtrTest, TakingANewObjectMakesABlockAndTracesItWithFlag0UnderItsDynamicType)
{
    const ModkitPtr<IThing> pointer(new Thing);
    const Words words = wordsOf(pointer);
    EXPECT_EQ(words.counter->strongCount, 1);
    EXPECT_EQ(words.counter->blockCount, 1);
    EXPECT_EQ(words.counter->deleter, nullptr);
    EXPECT_EQ(words.object, pointer.data());
    EXPECT_EQ(pointer->number(), 7);
    EXPECT_EQ(&*pointer, pointer.data());
    EXPECT_THAT(RecordedTrace::take(), ElementsAre(Call{Call::Add, words.counter, thingName, 0}));
}

TEST_F(ModkitPtrTest, TraceNamesATypeWithoutTheLeadingStarOfUnnamedNamespaces)
{
    const ModkitPtr<IThing> pointer(new Thing);
    const std::vector<Call> calls = RecordedTrace::take();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_THAT(calls[0].typeName, testing::StartsWith("N12_GLOBAL__N_1"));
}

TEST_F(ModkitPtrTest, TakingNullIsEmptyAndUntraced)
{
    const ModkitPtr<IThing> pointer(static_cast<IThing *>(nullptr));
    EXPECT_TRUE(pointer.isNull());
    EXPECT_EQ(wordsOf(pointer).counter, nullptr);
    EXPECT_THAT(RecordedTrace::take(), IsEmpty());
}

TEST_F(ModkitPtrTest, CopiesRaiseTheCountWithoutATrace)
{
    const ModkitPtr<IThing> pointer(new Thing);
    RecordedTrace::take();
    {
        const ModkitPtr<IThing> copy(pointer); // NOLINT(performance-unnecessary-copy-initialization)
        EXPECT_EQ(wordsOf(copy).counter, wordsOf(pointer).counter);
        EXPECT_EQ(wordsOf(pointer).counter->strongCount, 2);
    }
    EXPECT_EQ(wordsOf(pointer).counter->strongCount, 1);
    EXPECT_THAT(RecordedTrace::take(), IsEmpty());
}

TEST_F(ModkitPtrTest, AssignmentReleasesTheOldObjectAfterTakingTheNewOneWithoutATraceOfTheNewOne)
{
    std::vector<std::string> log;
    ModkitPtr<IThing> target(new Thing(&log));
    const ModkitPtr<IThing> source(new Thing);
    const ModkitCounter *const oldCounter = wordsOf(target).counter;
    RecordedTrace::take();

    target = source;

    EXPECT_EQ(target, source);
    EXPECT_EQ(wordsOf(source).counter->strongCount, 2);
    EXPECT_EQ(log.front(), "destroyed");
    EXPECT_THAT(RecordedTrace::take(), ElementsAre(Call{Call::Remove, oldCounter, "", 0}));
}

TEST_F(ModkitPtrTest, AssignmentOfAnEmptyPointerReleases)
{
    std::vector<std::string> log;
    ModkitPtr<IThing> target(new Thing(&log));
    target = ModkitPtr<IThing>();
    EXPECT_TRUE(target.isNull());
    EXPECT_EQ(wordsOf(target).counter, nullptr);
    EXPECT_THAT(log, ElementsAre("destroyed"));
}

TEST_F(ModkitPtrTest, SelfAssignmentChangesNothing)
{
    ModkitPtr<IThing> pointer(new Thing);
    RecordedTrace::take();
    const ModkitPtr<IThing> &same = pointer;
    pointer = same;
    EXPECT_EQ(wordsOf(pointer).counter->strongCount, 1);
    EXPECT_EQ(pointer->number(), 7);
    EXPECT_THAT(RecordedTrace::take(), IsEmpty());
}

TEST_F(ModkitPtrTest, UpConversionSharesTheBlockAndTracesFlag1)
{
    const ModkitPtr<Thing> thing(new Thing);
    RecordedTrace::take();
    const ModkitPtr<IThing> converted = thing;
    EXPECT_EQ(converted.data(), static_cast<IThing *>(thing.data()));
    EXPECT_EQ(wordsOf(converted).counter, wordsOf(thing).counter);
    EXPECT_EQ(wordsOf(thing).counter->strongCount, 2);
    EXPECT_THAT(RecordedTrace::take(), ElementsAre(Call{Call::Add, wordsOf(thing).counter, thingName, 1}));
}

TEST_F(ModkitPtrTest, DynamicCastSharesTheBlockAndTracesFlag1)
{
    const ModkitPtr<IPolymorph> polymorph(new Thing);
    RecordedTrace::take();
    const ModkitPtr<Thing> thing(polymorph);
    ASSERT_FALSE(thing.isNull());
    EXPECT_EQ(static_cast<IPolymorph *>(thing.data()), polymorph.data());
    EXPECT_NE(static_cast<void *>(thing.data()), static_cast<void *>(polymorph.data())) << "the cast moves the address";
    EXPECT_EQ(wordsOf(polymorph).counter->strongCount, 2);
    EXPECT_THAT(RecordedTrace::take(), ElementsAre(Call{Call::Add, wordsOf(polymorph).counter, thingName, 1}));
}

TEST_F(ModkitPtrTest, FailedDynamicCastIsEmptyAndChangesNoCount)
{
    const ModkitPtr<IPolymorph> polymorph(new Thing);
    RecordedTrace::take();
    const ModkitPtr<IOther> other(polymorph);
    EXPECT_TRUE(other.isNull());
    EXPECT_EQ(wordsOf(other).counter, nullptr);
    EXPECT_EQ(wordsOf(polymorph).counter->strongCount, 1);
    EXPECT_THAT(RecordedTrace::take(), IsEmpty());
}

TEST_F(ModkitPtrTest, ConversionOfAnEmptyPointerIsEmptyAndUntraced)
{
    const ModkitPtr<IPolymorph> empty;
    const ModkitPtr<IThing> down(empty);
    const ModkitPtr<IPolymorph> up = ModkitPtr<IThing>();
    EXPECT_TRUE(down.isNull());
    EXPECT_TRUE(up.isNull());
    EXPECT_THAT(RecordedTrace::take(), IsEmpty());
}

TEST_F(ModkitPtrTest, LastReleaseRemovesTheTraceOnceBeforeItDestroysTheObject)
{
    std::vector<std::string> log;
    {
        const ModkitPtr<IThing> first(new Thing(&log));
        const ModkitCounter *const counter = wordsOf(first).counter;
        {
            const ModkitPtr<IPolymorph> converted = first;
            const ModkitPtr<IThing> copy = first; // NOLINT(performance-unnecessary-copy-initialization)
        }
        EXPECT_THAT(log, IsEmpty());
        EXPECT_THAT(RecordedTrace::take(),
                    ElementsAre(Call{Call::Add, counter, thingName, 0}, Call{Call::Add, counter, thingName, 1}));
    }
    EXPECT_THAT(log, ElementsAre("destroyed")) << "and not: still traced";
    EXPECT_THAT(RecordedTrace::take(), ElementsAre(testing::Field(&Call::kind, Call::Remove)));
}

TEST_F(ModkitPtrTest, LastReleaseDestroysThroughTheVirtualDestructorOfAnyBase)
{
    std::vector<std::string> log;
    ModkitPtr<Padding> padding(new Thing(&log));
    ModkitPtr<IPolymorph> polymorph = ModkitPtr<IThing>(padding);
    padding.reset();
    EXPECT_THAT(log, IsEmpty());
    polymorph.reset();
    EXPECT_THAT(log, ElementsAre("destroyed"));
}

TEST_F(ModkitPtrTest, ResetEmptiesThePointerBeforeTheObjectIsDestroyed)
{
    struct Watcher : IPolymorph {
        ModkitPtr<Watcher> *holder = nullptr;
        bool *wasEmpty = nullptr;
        ~Watcher() override { *wasEmpty = holder->isNull() && wordsOf(*holder).counter == nullptr; }
    };
    bool wasEmpty = false;
    ModkitPtr<Watcher> pointer(new Watcher);
    pointer->holder = &pointer;
    pointer->wasEmpty = &wasEmpty;
    pointer.reset();
    EXPECT_TRUE(wasEmpty);
    pointer.reset();
    EXPECT_TRUE(pointer.isNull());
}

namespace {

std::vector<void *> deletedByDeleter;

} // namespace

TEST_F(ModkitPtrTest, DeleterOfTheBlockReplacesTheDestructor)
{
    std::vector<std::string> log;
    Thing *const thing = new Thing(&log);
    ModkitPtr<IThing> pointer(thing);
    void *const object = pointer.data();
    wordsOf(pointer).counter->deleter = [](void *deleted) { deletedByDeleter.push_back(deleted); };
    pointer.reset();
    EXPECT_THAT(deletedByDeleter, ElementsAre(object));
    EXPECT_THAT(log, IsEmpty());
    delete thing;
}

TEST_F(ModkitPtrTest, BlockOutlivesTheObjectUntilItsOwnCountReachesZero)
{
    std::vector<std::string> log;
    ModkitPtr<IThing> pointer(new Thing(&log));
    ModkitCounter *const counter = wordsOf(pointer).counter;
    ++counter->blockCount; // as a framework that watches the block would
    pointer.reset();
    EXPECT_THAT(log, ElementsAre("destroyed"));
    EXPECT_EQ(counter->strongCount, 0);
    EXPECT_EQ(counter->blockCount, 1);
    delete counter;
}

TEST_F(ModkitPtrTest, EqualityAndHashGoByTheObjectAddressAlone)
{
    const ModkitPtr<Thing> thing(new Thing);
    const ModkitPtr<IThing> first = thing;
    const ModkitPtr<IThing> second = thing;
    const ModkitPtr<IThing> other(new Thing);
    EXPECT_TRUE(first == second);
    EXPECT_FALSE(first != second);
    EXPECT_TRUE(first != other);
    EXPECT_FALSE(first == other);

    const auto address = reinterpret_cast<std::uintptr_t>(first.data());
    EXPECT_EQ(qHash(first), static_cast<unsigned int>((address >> 31) ^ address));
    EXPECT_EQ(qHash(first), qHash(second));
    EXPECT_EQ(qHash(first, 5U), qHash(first) ^ 5U);

    QHash<ModkitPtr<IThing>, int> table;
    table.insert(first, 1);
    EXPECT_TRUE(table.contains(second));
    EXPECT_FALSE(table.contains(other));
}

namespace {

std::vector<std::tuple<std::string, std::string, int>> assertions;

} // namespace

TEST_F(ModkitPtrTest, BrokenInvariantIsReportedAndTheConversionCompletesWhenTheReportReturns)
{
    Thing thing;
    ModkitPtr<Thing> broken;
    overwrite(broken, Words{nullptr, &thing});

    auto *const handler = ModkitAssertionHandler;
    ModkitAssertionHandler = [](const char *expression, const char *file, int line) {
        assertions.emplace_back(expression, file, line);
    };
    {
        const ModkitPtr<IThing> converted = broken;
        EXPECT_EQ(converted.data(), &thing);
        EXPECT_EQ(wordsOf(converted).counter, nullptr);
    }
    ModkitAssertionHandler = handler;

    EXPECT_THAT(assertions, ElementsAre(std::make_tuple("(_counter && _ptr) || (!_counter && !_ptr)",
                                                        "..\\..\\..\\include/strata/base/modkit/modkit", 284)));
    EXPECT_THAT(RecordedTrace::take(), ElementsAre(Call{Call::Add, nullptr, thingName, 1}));
}

TEST_F(ModkitPtrTest, PlainCopyOfABrokenPointerIsNotChecked)
{
    Thing thing;
    ModkitPtr<Thing> broken;
    overwrite(broken, Words{nullptr, &thing});
    const ModkitPtr<Thing> copy(broken); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.data(), &thing);
    EXPECT_THAT(RecordedTrace::take(), IsEmpty());
}

TEST(ModkitPtrDeathTest, BrokenInvariantEndsInTheRuntimesOwnReportInEveryBuild)
{
    Thing thing;
    ModkitPtr<Thing> broken;
    overwrite(broken, Words{nullptr, &thing});
    EXPECT_DEATH(ModkitPtr<IThing>{broken}, isRuntimeReport("(_counter && _ptr) || (!_counter && !_ptr)",
                                                            "..\\..\\..\\include/strata/base/modkit/modkit", 284));
}
