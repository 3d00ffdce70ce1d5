#include "base/Shareable.h"

#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

namespace {

// Records its own destruction, which only the virtual destructor reaches when the base
// class releases the last reference.
class Probe : public Base::Shareable {
public:
    explicit Probe(bool& destroyed) : destroyed(destroyed) {}
    ~Probe() override { destroyed = true; }

private:
    bool& destroyed;
};

} // namespace

TEST(Shareable, CountIsZeroAfterConstruction)
{
    bool destroyed = false;
    const uint32_t live = Base::Shareable::LiveObjects();

    const Probe probe(destroyed);

    EXPECT_EQ(0u, probe.References());
    EXPECT_EQ(live, Base::Shareable::LiveObjects());
}

TEST(Shareable, LabelIsThreeQuestionMarks)
{
    bool destroyed = false;
    const Probe probe(destroyed);

    EXPECT_STREQ("???", probe.Label());
}

TEST(Shareable, FirstReferenceCountsTheObjectLiveAndLastReleaseDestroysIt)
{
    bool destroyed = false;
    const uint32_t live = Base::Shareable::LiveObjects();
    Base::SharedRef<Probe> holder = Base::MakeShared<Probe>(destroyed);
    Probe* probe = holder.Get();
    EXPECT_EQ(1u, probe->References());
    EXPECT_EQ(live + 1, Base::Shareable::LiveObjects());

    probe->AddReference();
    EXPECT_EQ(2u, probe->References());
    EXPECT_EQ(live + 1, Base::Shareable::LiveObjects());

    probe->Release();
    EXPECT_EQ(1u, probe->References());
    EXPECT_EQ(live + 1, Base::Shareable::LiveObjects());
    EXPECT_FALSE(destroyed);

    holder.Reset();
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(live, Base::Shareable::LiveObjects());
}

TEST(Shareable, ReferencesFromManyThreadsBalance)
{
    bool destroyed = false;
    Base::SharedRef<Probe> holder = Base::MakeShared<Probe>(destroyed);
    Probe* probe = holder.Get();
    const uint32_t live = Base::Shareable::LiveObjects();

    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([probe] {
            for (int i = 0; i < 20000; ++i) {
                probe->AddReference();
                probe->Release();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(1u, probe->References());
    EXPECT_EQ(live, Base::Shareable::LiveObjects());
    EXPECT_FALSE(destroyed);
}

TEST(SharedRef, DefaultIsEmpty)
{
    const Base::SharedRef<Probe> empty;

    EXPECT_FALSE(empty);
    EXPECT_EQ(nullptr, empty.Get());
}

TEST(SharedRef, CopyAddsAReferenceToTheSameObject)
{
    bool destroyed = false;
    const Base::SharedRef<Probe> first = Base::MakeShared<Probe>(destroyed);

    {
        const Base::SharedRef<Probe> second(first);
        EXPECT_EQ(first.Get(), second.Get());
        EXPECT_EQ(2u, first->References());
    }

    EXPECT_EQ(1u, first->References());
    EXPECT_FALSE(destroyed);
}

TEST(SharedRef, MoveTransfersTheReferenceAndEmptiesTheSource)
{
    bool destroyed = false;
    Base::SharedRef<Probe> source = Base::MakeShared<Probe>(destroyed);
    Probe* probe = source.Get();

    const Base::SharedRef<Probe> target(std::move(source));

    EXPECT_FALSE(source);
    EXPECT_EQ(probe, target.Get());
    EXPECT_EQ(1u, target->References());
}

TEST(SharedRef, CopyAssignmentReleasesTheOldObject)
{
    bool oldDestroyed = false;
    bool newDestroyed = false;
    Base::SharedRef<Probe> target = Base::MakeShared<Probe>(oldDestroyed);
    const Base::SharedRef<Probe> source = Base::MakeShared<Probe>(newDestroyed);

    target = source;

    EXPECT_TRUE(oldDestroyed);
    EXPECT_FALSE(newDestroyed);
    EXPECT_EQ(source.Get(), target.Get());
    EXPECT_EQ(2u, source->References());
}

TEST(SharedRef, MoveAssignmentReleasesTheOldObjectAndEmptiesTheSource)
{
    bool oldDestroyed = false;
    bool newDestroyed = false;
    Base::SharedRef<Probe> target = Base::MakeShared<Probe>(oldDestroyed);
    Base::SharedRef<Probe> source = Base::MakeShared<Probe>(newDestroyed);
    Probe* probe = source.Get();

    target = std::move(source);

    EXPECT_TRUE(oldDestroyed);
    EXPECT_FALSE(source);
    EXPECT_EQ(probe, target.Get());
    EXPECT_EQ(1u, target->References());
}

TEST(SharedRef, SelfAssignmentKeepsTheCount)
{
    bool destroyed = false;
    Base::SharedRef<Probe> holder = Base::MakeShared<Probe>(destroyed);
    Base::SharedRef<Probe>& alias = holder;

    holder = alias;

    EXPECT_FALSE(destroyed);
    EXPECT_EQ(1u, holder->References());
}

TEST(SharedRef, ResetReleasesOnceAndEmpties)
{
    bool destroyed = false;
    const uint32_t live = Base::Shareable::LiveObjects();
    Base::SharedRef<Probe> holder = Base::MakeShared<Probe>(destroyed);

    holder.Reset();
    holder.Reset();

    EXPECT_TRUE(destroyed);
    EXPECT_FALSE(holder);
    EXPECT_EQ(live, Base::Shareable::LiveObjects());
}

TEST(SharedRef, DestructorReleasesTheLastReference)
{
    bool destroyed = false;
    const uint32_t live = Base::Shareable::LiveObjects();
    {
        const Base::SharedRef<Probe> holder = Base::MakeShared<Probe>(destroyed);
        EXPECT_EQ(live + 1, Base::Shareable::LiveObjects());
    }

    EXPECT_TRUE(destroyed);
    EXPECT_EQ(live, Base::Shareable::LiveObjects());
}

TEST(SharedRef, WrappingAnObjectAddsAReference)
{
    bool destroyed = false;
    Base::SharedRef<Probe> first = Base::MakeShared<Probe>(destroyed);

    const Base::SharedRef<Probe> second(first.Get());
    EXPECT_EQ(2u, first->References());

    first.Reset();
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(1u, second->References());
}
