// Pieces come from slabs, and slabs from blocks: of one slab at first, of many when a tree is large. Every
// thread owns slabs of its own, so that none waits for another; a piece that another thread gives back waits
// in a list of its owner's until that needs room. What a thread leaves behind when it ends, the next one that
// begins takes over.
#include "host/xml/NodePool.h"

#include <pthread.h>
#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

namespace DvXML::NodePool {
namespace {

constexpr std::size_t kSlabBytes = 32UL * 1024;
constexpr std::size_t kMostEmpty = 64;  // slabs kept for the next document
// Whoever holds this many slabs gets more of them in blocks of a huge page each: a large tree lies on
// thousands of ordinary pages, and finding those takes a tenth of the time of building and deleting it.
constexpr std::size_t kFewSlabs = 64;
constexpr std::size_t kLargeBlockSlabs = 2UL * 1024 * 1024 / kSlabBytes;

class Owner;

struct FreePiece {
    FreePiece* next;
};

struct alignas(std::max_align_t) Slab {
    Owner* owner;
    Slab* previous = nullptr;  // in the owner's list of slabs with room
    Slab* next = nullptr;
    FreePiece* given = nullptr;  // pieces given back
    std::size_t used = 0;
    std::size_t untouched = 0;  // pieces from here on were never taken since the slab was last empty
    Slab* block = this;         // the first slab of the block

    // In the first slab of a block.
    std::size_t blockSlabs = 0;
    std::size_t blockEmpty = 0;

    unsigned char* Piece(std::size_t number) {
        return reinterpret_cast<unsigned char*>(this + 1) + number * kPieceBytes;
    }
};

constexpr std::size_t kPieces = (kSlabBytes - sizeof(Slab)) / kPieceBytes;

// Slabs are aligned to their size.
Slab& SlabOf(void* piece) {
    return *reinterpret_cast<Slab*>(reinterpret_cast<std::uintptr_t>(piece) & ~(kSlabBytes - 1));
}

class Owner {
public:
    void* Take();
    void GiveBack(void* piece) noexcept;
    void GiveBackFromElsewhere(void* piece) noexcept;
    std::size_t HeldBytes() const { return slabs_ * kSlabBytes; }

    Owner* nextIdle = nullptr;

private:
    Slab& SlabWithRoom();
    void TakeReturned() noexcept;
    void AddBlock();
    void Drop(Slab& block) noexcept;
    void LinkFirst(Slab& slab) noexcept;
    void LinkLast(Slab& slab) noexcept;
    void Unlink(Slab& slab) noexcept;

    // Slabs with room. Pieces are taken from the first; empty ones go to the front and those with
    // holes to the back, so that new pieces lie beside one another.
    Slab* first_ = nullptr;
    Slab* last_ = nullptr;
    std::size_t slabs_ = 0;
    std::size_t empty_ = 0;
    std::atomic<FreePiece*> returned_{nullptr};
};

void* Owner::Take() {
    Slab& slab = SlabWithRoom();
    if (slab.used == 0) {
        --empty_;
        --slab.block->blockEmpty;
    }
    void* const piece = slab.given ? static_cast<void*>(std::exchange(slab.given, slab.given->next))
                                   : slab.Piece(slab.untouched++);
    if (++slab.used == kPieces) Unlink(slab);
    return piece;
}

void Owner::GiveBack(void* piece) noexcept {
    Slab& slab = SlabOf(piece);
    slab.given = new (piece) FreePiece{slab.given};
    if (slab.used == kPieces) LinkLast(slab);
    if (--slab.used > 0) return;
    slab.given = nullptr;
    slab.untouched = 0;
    Unlink(slab);
    LinkFirst(slab);
    ++empty_;
    Slab& block = *slab.block;
    if (++block.blockEmpty == block.blockSlabs && empty_ > kMostEmpty) Drop(block);
}

void Owner::GiveBackFromElsewhere(void* piece) noexcept {
    auto* const returned = new (piece) FreePiece{returned_.load(std::memory_order_relaxed)};
    while (!returned_.compare_exchange_weak(returned->next, returned, std::memory_order_release,
                                            std::memory_order_relaxed)) {
    }
}

void Owner::TakeReturned() noexcept {
    FreePiece* piece = returned_.exchange(nullptr, std::memory_order_acquire);
    while (piece)
        GiveBack(std::exchange(piece, piece->next));
}

Slab& Owner::SlabWithRoom() {
    if (first_) return *first_;
    TakeReturned();
    if (first_) return *first_;
    AddBlock();
    return *first_;
}

void Owner::AddBlock() {
    const std::size_t slabs = slabs_ < kFewSlabs ? 1 : kLargeBlockSlabs;
    const std::size_t bytes = slabs * kSlabBytes;
    auto* const memory = static_cast<unsigned char*>(::operator new (bytes, std::align_val_t{bytes}));
    // Only a wish: where it is not granted the memory is as good as any.
    if (slabs > 1) static_cast<void>(madvise(memory, bytes, MADV_HUGEPAGE));
    auto* const block = new (memory) Slab{.owner = this, .blockSlabs = slabs, .blockEmpty = slabs};
    for (std::size_t slab = slabs - 1; slab > 0; --slab)
        LinkFirst(*new (memory + slab * kSlabBytes) Slab{.owner = this, .block = block});
    LinkFirst(*block);
    slabs_ += slabs;
    empty_ += slabs;
}

// For a block of which all slabs are empty.
void Owner::Drop(Slab& block) noexcept {
    const std::size_t slabs = block.blockSlabs;
    auto* const memory = reinterpret_cast<unsigned char*>(&block);
    for (std::size_t slab = 0; slab < slabs; ++slab)
        Unlink(SlabOf(memory + slab * kSlabBytes));
    slabs_ -= slabs;
    empty_ -= slabs;
    ::operator delete (memory, std::align_val_t{slabs * kSlabBytes});
}

void Owner::LinkFirst(Slab& slab) noexcept {
    slab.previous = nullptr;
    slab.next = first_;
    (first_ ? first_->previous : last_) = &slab;
    first_ = &slab;
}

void Owner::LinkLast(Slab& slab) noexcept {
    slab.previous = last_;
    slab.next = nullptr;
    (last_ ? last_->next : first_) = &slab;
    last_ = &slab;
}

void Owner::Unlink(Slab& slab) noexcept {
    (slab.previous ? slab.previous->next : first_) = slab.next;
    (slab.next ? slab.next->previous : last_) = slab.previous;
}

// Owners whose threads have ended.
class IdleOwners {
public:
    static void Add(void* owner) noexcept {
        const std::lock_guard lock(mutex_);
        auto* const idle = static_cast<Owner*>(owner);
        idle->nextIdle = std::exchange(first_, idle);
    }
    static Owner* TakeOne() noexcept {
        const std::lock_guard lock(mutex_);
        return first_ ? std::exchange(first_, first_->nextIdle) : nullptr;
    }

private:
    static inline constinit std::mutex mutex_;
    static inline constinit Owner* first_ = nullptr;
};

// The host's library is loaded with the program, so the fast model will do.
[[gnu::tls_model("initial-exec")]] constinit thread_local Owner* ownerOfThisThread = nullptr;

// Unlike the destructor of a thread_local object, that of a key may find the thread at work again.
pthread_key_t MakeKey() {
    pthread_key_t key{};
    const int result = pthread_key_create(&key, [](void* owner) {
        ownerOfThisThread = nullptr;
        IdleOwners::Add(owner);
    });
    if (result != 0) throw std::bad_alloc();
    return key;
}

Owner& AdoptOwner() {
    static const pthread_key_t key = MakeKey();
    Owner* const idle = IdleOwners::TakeOne();
    std::unique_ptr<Owner> owner(idle ? idle : new Owner);
    if (pthread_setspecific(key, owner.get()) != 0) {
        IdleOwners::Add(owner.release());
        throw std::bad_alloc();
    }
    return *(ownerOfThisThread = owner.release());
}

}  // namespace

void* Take() {
    return (ownerOfThisThread ? *ownerOfThisThread : AdoptOwner()).Take();
}

void GiveBack(void* piece) noexcept {
    Owner* const owner = SlabOf(piece).owner;
    if (owner == ownerOfThisThread)
        owner->GiveBack(piece);
    else
        owner->GiveBackFromElsewhere(piece);
}

std::size_t HeldBytes() noexcept {
    return ownerOfThisThread ? ownerOfThisThread->HeldBytes() : 0;
}

}  // namespace DvXML::NodePool
