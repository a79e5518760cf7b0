#include "host/interfaces/auto_com.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "host/glue/RefCount.h"
#include "host/interfaces/IRefCounted.h"

namespace {

// Tells when it is destroyed.
class Object final : public dv::RefCount<dv::IRefCounted> {
public:
    explicit Object(bool& destroyed) : destroyed_(destroyed) {}

private:
    ~Object() override { destroyed_ = true; }

    bool& destroyed_;
};

using Handle = dv::auto_com<Object>;

class AutoCom : public testing::Test {
protected:
    bool destroyed = false;
};

TEST_F(AutoCom, AdoptTakesTheReferenceOver) {
    {
        const Handle handle = Handle::adopt(new Object(destroyed));
        EXPECT_FALSE(destroyed);
    }
    EXPECT_TRUE(destroyed);
}

TEST_F(AutoCom, ShareAddsAReference) {
    auto* object = new Object(destroyed);
    { const Handle handle = Handle::share(object); }
    EXPECT_FALSE(destroyed);
    object->Release();
    EXPECT_TRUE(destroyed);
}

TEST_F(AutoCom, CopyKeepsTheObjectAlive) {
    Handle first = Handle::adopt(new Object(destroyed));
    Handle second = first;
    first.reset();
    EXPECT_FALSE(first);
    EXPECT_FALSE(destroyed);
    second.reset();
    EXPECT_TRUE(destroyed);
}

TEST_F(AutoCom, MoveHandsTheReferenceOver) {
    Handle first = Handle::adopt(new Object(destroyed));
    Handle second = std::move(first);
    EXPECT_FALSE(first);  // NOLINT: a moved-from handle is empty
    EXPECT_TRUE(second);
    second = nullptr;
    EXPECT_TRUE(destroyed);
}

TEST_F(AutoCom, AssignmentReleasesWhatWasHeld) {
    bool otherDestroyed = false;
    Handle handle = Handle::adopt(new Object(destroyed));
    handle = Handle::adopt(new Object(otherDestroyed));
    EXPECT_TRUE(destroyed);
    EXPECT_FALSE(otherDestroyed);
}

TEST_F(AutoCom, AssignmentToItselfKeepsTheObject) {
    Handle handle = Handle::adopt(new Object(destroyed));
    Handle& same = handle;
    handle = same;
    EXPECT_FALSE(destroyed);
    handle = std::move(same);
    EXPECT_FALSE(destroyed);
    EXPECT_TRUE(handle);
}

TEST_F(AutoCom, DetachGivesTheReferenceUp) {
    Handle handle = Handle::adopt(new Object(destroyed));
    Object* object = handle.detach();
    EXPECT_FALSE(handle);
    EXPECT_FALSE(destroyed);
    object->Release();
    EXPECT_TRUE(destroyed);
}

TEST_F(AutoCom, ConvertsToAHandleOfTheBase) {
    dv::auto_com<dv::IRefCounted> base = Handle::adopt(new Object(destroyed));
    EXPECT_TRUE(base);
    EXPECT_FALSE(destroyed);
    base.reset();
    EXPECT_TRUE(destroyed);
}

TEST_F(AutoCom, NullIsAnEmptyHandle) {
    EXPECT_FALSE(Handle());
    EXPECT_FALSE(Handle(nullptr));
    EXPECT_FALSE(Handle::adopt(nullptr));
    EXPECT_FALSE(Handle::share(nullptr));
    EXPECT_EQ(nullptr, Handle().get());
}

TEST_F(AutoCom, SeveralThreadsMayHoldOneObject) {
    {
        const Handle handle = Handle::adopt(new Object(destroyed));
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([handle] {
                for (int round = 0; round < 10'000; ++round)
                    const Handle copy = handle;
            });
        }
    }
    EXPECT_TRUE(destroyed);
}

}  // namespace
