// Memory for nodes. Documents are built and deleted by the thousand nodes; a general allocator spreads
// them over a heap that has been in use for weeks, where walking them costs several times as much.
// Here nodes that are made after one another lie beside one another.
#ifndef HOST_XML_NODEPOOL_H
#define HOST_XML_NODEPOOL_H

#include <cstddef>

namespace DvXML::NodePool {

/// Every piece has room for so many bytes, at the alignment of std::max_align_t.
constexpr std::size_t kPieceBytes = 160;

/// A piece, not initialised. Throws std::bad_alloc.  [any thread]
void* Take();

/// Takes a piece back, on whichever thread.  [any thread]
void GiveBack(void* piece) noexcept;

/// Bytes that the calling thread's pieces take of the system, used or not.
std::size_t HeldBytes() noexcept;

}  // namespace DvXML::NodePool

#endif
