#include <new>
#include <type_traits>

#include "TableCall.h"
#include "fakes/FakeFormatManager.h"
#include "fakes/FakeOutputQueue.h"
#include "interfaces/IAVFormatManager.h"
#include "interfaces/IDecoder.h"
#include "interfaces/IObjectRegistry.h"
#include "interfaces/ISimpleIndicationObjectCallback.h"
#include <gmock/gmock.h>

// Destructors have no address to tell their slot by. Classes that derive from one of those below take over its slots.

namespace {

constexpr std::size_t completeDestructor = 0;
constexpr std::size_t deletingDestructor = 1;

int destroyed = 0;
int freed = 0;

template <class Class>
class Watched : public Class {
public:
    using Class::Class;
    ~Watched() override { ++destroyed; }

    static void *operator new(std::size_t size) { return ::operator new(size); }
    static void operator delete(void *memory)
    {
        ++freed;
        ::operator delete(memory);
    }
};

class Callback : public ISimpleIndicationObjectCallback {
public:
    void onTimeout(quint64 /*reason*/, const ModkitPtr<IIndicationObject> & /*indication*/) override {}
};

class VideoCodecDecoder : public FakeVideoCodecDecoder {
public:
    VideoCodecDecoder()
        : FakeVideoCodecDecoder(nullptr, {})
    {
    }
};

class AudioCodecDecoder : public FakeAudioCodecDecoder {
public:
    AudioCodecDecoder()
        : FakeAudioCodecDecoder(nullptr, {})
    {
    }
};

class VideoOutputQueue : public FakeVideoOutputQueue {
public:
    VideoOutputQueue()
        : FakeVideoOutputQueue("")
    {
    }
};

class AudioOutputQueue : public FakeAudioOutputQueue {
public:
    AudioOutputQueue()
        : FakeAudioOutputQueue("")
    {
    }
};

template <class Class>
class DestructorSlotsTest : public testing::Test {
protected:
    DestructorSlotsTest()
    {
        destroyed = 0;
        freed = 0;
    }
};

using Roots = testing::Types<IPolymorph, IDecoder, Callback, VideoCodecDecoder, AudioCodecDecoder, VideoOutputQueue,
                             AudioOutputQueue>;

} // namespace

TYPED_TEST_SUITE(DestructorSlotsTest, Roots);

TYPED_TEST(DestructorSlotsTest, FirstSlotDestroysTheObjectAndLeavesItsMemory)
{
    void *const object = new Watched<TypeParam>;
    callSlot<void>(object, completeDestructor);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(freed, 0);
    Watched<TypeParam>::operator delete(object);
}

TYPED_TEST(DestructorSlotsTest, SecondSlotDestroysTheObjectAndFreesItsMemory)
{
    void *const object = new Watched<TypeParam>;
    callSlot<void>(object, deletingDestructor);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(freed, 1);
}

static_assert(!std::has_virtual_destructor<IObjectRegistry>::value, "its first slot is setObject");
static_assert(!std::has_virtual_destructor<IAVFormatFactory>::value, "its first slot is reserved1");
