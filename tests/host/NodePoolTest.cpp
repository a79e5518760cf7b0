#include "host/xml/NodePool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <utility>
#include <vector>

namespace NodePool = DvXML::NodePool;

namespace {

std::vector<void*> Take(std::size_t count) {
    std::vector<void*> pieces;
    for (std::size_t piece = 0; piece < count; ++piece) {
        pieces.push_back(NodePool::Take());
        std::memset(pieces.back(), static_cast<int>(piece % 256), NodePool::kPieceBytes);
    }
    return pieces;
}

void GiveBack(const std::vector<void*>& pieces) {
    for (void* const piece : pieces)
        NodePool::GiveBack(piece);
}

bool HoldsOnly(const void* piece, std::size_t value) {
    const auto* const bytes = static_cast<const unsigned char*>(piece);
    for (std::size_t at = 0; at < NodePool::kPieceBytes; ++at)
        if (bytes[at] != value % 256) return false;
    return true;
}

// Far more than a slab has.
constexpr std::size_t kMany = 20'000;

}  // namespace

TEST(NodePool, PiecesAreAlignedAndDoNotOverlap) {
    const std::vector<void*> pieces = Take(kMany);
    for (std::size_t piece = 0; piece < kMany; ++piece) {
        EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(pieces[piece]) % alignof(std::max_align_t));
        ASSERT_TRUE(HoldsOnly(pieces[piece], piece)) << "piece " << piece;
    }
    GiveBack(pieces);
}

TEST(NodePool, PiecesTakenOneAfterTheOtherLieBesideOneAnotherAlsoAfterMuchUse) {
    const std::vector<void*> lasting = Take(kMany);
    for (std::size_t piece = 0; piece < kMany; piece += 3)
        NodePool::GiveBack(lasting[piece]);
    GiveBack(Take(2 * kMany));
    const std::vector<void*> pieces = Take(1000);
    std::size_t neighbours = 0;
    for (std::size_t piece = 1; piece < pieces.size(); ++piece) {
        const auto distance = static_cast<char*>(pieces[piece]) - static_cast<char*>(pieces[piece - 1]);
        if (distance == static_cast<std::ptrdiff_t>(NodePool::kPieceBytes)) ++neighbours;
    }
    EXPECT_GT(neighbours, 900U);
    GiveBack(pieces);
    for (std::size_t piece = 0; piece < kMany; ++piece)
        if (piece % 3 != 0) NodePool::GiveBack(lasting[piece]);
}

TEST(NodePool, WhatIsGivenBackIsUsedAgain) {
    GiveBack(Take(kMany));
    const std::size_t before = NodePool::HeldBytes();
    for (int round = 0; round < 10; ++round)
        GiveBack(Take(1000));
    EXPECT_EQ(before, NodePool::HeldBytes());
}

TEST(NodePool, MemoryOfALargeDocumentGoesBackToTheSystem) {
    const std::vector<void*> pieces = Take(10 * kMany);
    EXPECT_GE(NodePool::HeldBytes(), 10 * kMany * NodePool::kPieceBytes);
    GiveBack(pieces);
    EXPECT_LE(NodePool::HeldBytes(), 3UL * 1024 * 1024);
}

TEST(NodePool, OnlyALargeTreeGetsItsMemoryInLargeBlocks) {
    constexpr std::size_t kLarge = 2UL * 1024 * 1024;
    std::vector<void*> pieces;
    std::size_t held = NodePool::HeldBytes();
    while (pieces.size() < 10 * kMany) {
        pieces.push_back(NodePool::Take());
        const std::size_t now = NodePool::HeldBytes();
        if (now == held) continue;
        if (held < kLarge)
            EXPECT_LT(now - held, kLarge / 10) << held;
        else
            EXPECT_EQ(kLarge, now - held) << held;
        held = now;
    }
    GiveBack(pieces);
}

TEST(NodePool, APieceInUseKeepsItsMemoryWhenAllElseOfALargeDocumentGoesBack) {
    std::vector<void*> pieces = Take(10 * kMany);
    const std::size_t kept = 5 * kMany;
    void* const piece = std::exchange(pieces[kept], pieces.back());
    pieces.pop_back();
    GiveBack(pieces);
    EXPECT_LE(NodePool::HeldBytes(), 5UL * 1024 * 1024);
    GiveBack(Take(kMany));
    EXPECT_TRUE(HoldsOnly(piece, kept));
    NodePool::GiveBack(piece);
    EXPECT_LE(NodePool::HeldBytes(), 3UL * 1024 * 1024);
}

TEST(NodePool, AThreadMayGiveBackWhatAnotherTook) {
    const std::size_t before = NodePool::HeldBytes();
    for (int round = 0; round < 20; ++round) {
        const std::vector<void*> pieces = Take(kMany);
        std::thread(&GiveBack, pieces).join();
    }
    EXPECT_LE(NodePool::HeldBytes(), before + 2 * kMany * NodePool::kPieceBytes);
}

TEST(NodePool, AThreadThatEndsLeavesItsMemoryToTheNext) {
    std::set<void*> first;
    std::thread([&] {
        const std::vector<void*> pieces = Take(1000);
        first.insert(pieces.begin(), pieces.end());
        GiveBack(pieces);
    }).join();
    std::size_t again = 0;
    std::thread([&] {
        const std::vector<void*> pieces = Take(1000);
        for (void* const piece : pieces)
            again += first.count(piece);
        GiveBack(pieces);
    }).join();
    EXPECT_GT(again, 900U);
}

TEST(NodePool, WhatAThreadTookOutlivesIt) {
    std::vector<void*> pieces;
    std::thread([&] { pieces = Take(kMany); }).join();
    for (std::size_t piece = 0; piece < kMany; ++piece)
        ASSERT_TRUE(HoldsOnly(pieces[piece], piece)) << "piece " << piece;
    GiveBack(pieces);
}
