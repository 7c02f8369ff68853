// From keys to nodes, the table under a KVTLinkedMap; not installed. Open addressing, at most half full, linear
// probing.
//
// A look-up goes to one place of the table, to the node and to its key, and each of these may be far away: so a place
// is one word, the node's address (48 bits) with sixteen bits of its key's hash above it, and nothing but the wanted
// node is touched as a rule. What closes gaps asks the nodes that move for their hashes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include <KVTPlatform/Runtime/Export.h>

namespace kvt {

class KVTLinkedMapNode;

class KVT_EXPORT NodeIndex {
 public:
  NodeIndex() noexcept = default;
  NodeIndex(NodeIndex&& other) noexcept
      : places_(std::exchange(other.places_, nullptr)),
        mask_(std::exchange(other.mask_, 0)),
        count_(std::exchange(other.count_, 0)) {}
  NodeIndex& operator=(NodeIndex&&) = delete;
  ~NodeIndex();

  std::size_t size() const noexcept { return count_; }

  /// The node of that hash for which `matches(node)` says YES; null when there is none. `matches` must not change the
  /// index.
  template <class Matches>
  KVTLinkedMapNode* find(std::uint32_t hash, const Matches& matches) const {
    if (places_ == nullptr) return nullptr;
    const std::uint64_t tag = hash >> 16;
    for (std::size_t at = hash & mask_;; at = (at + 1) & mask_) {
      const std::uint64_t place = places_[at];
      if (place == 0) return nullptr;
      if (place >> 48 == tag) {
        KVTLinkedMapNode* const node = nodeOf(place);
        if (matches(node)) return node;
      }
    }
  }
  /// A node whose key is not there yet. Without memory nothing has changed.
  void insert(KVTLinkedMapNode* node);
  /// The node is there.
  void erase(const KVTLinkedMapNode* node) noexcept;

  template <class F>
  void forEach(const F& call) const {
    for (std::size_t at = 0; places_ != nullptr && at <= mask_; ++at) {
      if (places_[at] != 0) call(nodeOf(places_[at]));
    }
  }

 private:
  static KVTLinkedMapNode* nodeOf(std::uint64_t place) noexcept {
    return reinterpret_cast<KVTLinkedMapNode*>(place & ((std::uint64_t{1} << 48) - 1));
  }
  void enter(KVTLinkedMapNode* node) noexcept;
  void rebuild(std::size_t room);

  std::uint64_t* places_ = nullptr;  // null: no room
  std::size_t mask_ = 0;
  std::size_t count_ = 0;
};

}  // namespace kvt
