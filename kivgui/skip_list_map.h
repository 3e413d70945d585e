#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <type_traits>
#include <utility>

#include "kivgui/ansi_str.h"
#include "kivgui/memory.h"
#include "kivgui/random.h"

// Entries are nodes of random height. A node of height h is linked on the levels 0 to h, and on
// every level the nodes are in strictly ascending key order. A search starts at the highest level
// and goes down one level whenever the next key is not below the wanted one; the node at which it
// stopped is not compared again below. With a probability of 1/e for each next level, searches and
// insertions take expected logarithmic time, and a node has 0.58 links above level 0 on average.
//
// The head is a node without a key, of the greatest height, made by the first insertion. An
// insertion allocates first and links afterwards, so a failed one changes no entry.

namespace KivGuiBase {

/// Key order of names: ASCII letters compare without regard to case.
struct CaselessOrder {
    static int Compare(const char* nodeKey, const char* key) noexcept {
        return AnsiStr::Compare(nodeKey, key, true);
    }
};

/// Key order of exact texts: bytes as unsigned values.
struct ByteOrder {
    static int Compare(const char* nodeKey, const char* key) noexcept {
        return std::strcmp(nodeKey, key);
    }
};

/// An ordered map from strings to values: a skip list that is searched, extended, walked in
/// ascending key order and cleared as a whole. Single entries are never removed, so a pointer to a
/// node is valid until the map is cleared or destroyed.
///
/// Searches and insertions take expected logarithmic time. Nothing throws. Not synchronised: one
/// thread at a time, or any number of threads that only read.
template <class Value, class Order>
class SkipListMap {
public:
    static constexpr unsigned kMaxHeight = 32;

    class Node;

    /// What a node has besides its value.
    class Link {
    public:
        AnsiStr key;

    private:
        friend class SkipListMap;
        Node* GetNext(unsigned level) const noexcept {
            return level == 0 ? next_ : tower_[level - 1];
        }
        void SetNext(unsigned level, Node* node) noexcept {
            (level == 0 ? next_ : tower_[level - 1]) = node;
        }

        Node* next_ = nullptr;
        Node** tower_ =
            nullptr;  ///< successors on the levels 1 to height, after the node in memory
        unsigned height_ = 0;
    };

    /// An entry: its key and its value.
    class Node : public Link {
    public:
        Value value{};
    };

    template <class NodeType>
    class Iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Node;
        using difference_type = std::ptrdiff_t;
        using pointer = NodeType*;
        using reference = NodeType&;

        Iterator() noexcept = default;
        explicit Iterator(NodeType* node) noexcept : node_(node) {}
        reference operator*() const noexcept { return *node_; }
        pointer operator->() const noexcept { return node_; }
        Iterator& operator++() noexcept {
            node_ = SkipListMap::GetSuccessor(node_);
            return *this;
        }
        Iterator operator++(int) noexcept {
            Iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(Iterator, Iterator) noexcept = default;

    private:
        NodeType* node_ = nullptr;
    };

    SkipListMap() noexcept = default;
    SkipListMap(const SkipListMap&) = delete;
    SkipListMap& operator=(const SkipListMap&) = delete;
    ~SkipListMap() { Clear(); }

    /// The entry of `key`, inserted with a default value when there is none. The stored key of an
    /// existing entry takes on the spelling of `key`.
    /// @return null only when memory runs out; the map is then unchanged.
    Node* FindOrInsert(const AnsiStr& key) noexcept {
        Node* update[kMaxHeight + 1];
        if (Node* found = Search(key.GetStr(), update)) {
            found->key = key;
            return found;
        }
        return Insert(key, update);
    }
    /// The same, but an existing entry keeps its spelling.
    /// @param isNew  receives whether the entry was inserted.
    Node* FindOrInsert(const AnsiStr& key, bool& isNew) noexcept {
        Node* update[kMaxHeight + 1];
        Node* const found = Search(key.GetStr(), update);
        isNew = found == nullptr;
        return isNew ? Insert(key, update) : found;
    }
    /// As the first, for a key whose string is still to be made.
    Node* FindOrInsert(const char* key) noexcept {
        const MemoryWatch watch;
        const AnsiStr text(key);
        return watch.HasFailed() ? nullptr : FindOrInsert(text);
    }

    /// The entry of `key`, null when there is none. Never changes the map, and allocates nothing.
    const Node* Find(const AnsiStr& key) const noexcept { return Find(key.GetStr()); }
    Node* Find(const AnsiStr& key) noexcept { return Find(key.GetStr()); }
    const Node* Find(const char* key) const noexcept {
        Node* update[kMaxHeight + 1];
        return Search(key, update);
    }
    Node* Find(const char* key) noexcept {
        Node* update[kMaxHeight + 1];
        return Search(key, update);
    }

    /// The first entry whose key does not sort before `key`, to walk from; end() when there is
    /// none.
    auto FindFrom(const AnsiStr& key) const noexcept {
        Node* update[kMaxHeight + 1];
        const Node* found = Search(key.GetStr(), update);
        if (found == nullptr && head_ != nullptr) found = GetSuccessor(update[0]);
        return Iterator<const Node>(found);
    }

    auto begin() noexcept { return Iterator<Node>(GetSuccessor(head_)); }
    auto end() noexcept { return Iterator<Node>(); }
    auto begin() const noexcept { return Iterator<const Node>(GetSuccessor(head_)); }
    auto end() const noexcept { return Iterator<const Node>(); }
    bool IsEmpty() const noexcept { return GetSuccessor(head_) == nullptr; }

    /// Frees every entry.
    void Clear() noexcept {
        for (Node* node = head_; node != nullptr;) {
            Node* next = node->next_;
            const size_t size = GetNodeSize(node->height_);
            node->~Node();
            FreeParticle(size, node);
            node = next;
        }
        head_ = nullptr;
        topLevel_ = 0;
    }

private:
    static Node* GetSuccessor(const Node* node) noexcept {
        return node != nullptr ? node->next_ : nullptr;
    }

    /// The entry of the key `wanted`. When there is none, `update` receives, for each level up to the top one,
    /// the last node that sorts before the key.
    Node* Search(const char* wanted, Node** update) const noexcept {
        if (head_ == nullptr) return nullptr;
        Node* node = head_;
        Node* notBelow = nullptr;  // already compared on the level above
        for (int level = topLevel_; level >= 0; --level) {
            Node* next;
            int order = 1;
            while ((next = node->GetNext(static_cast<unsigned>(level))) != nullptr &&
                   next != notBelow) {
                order = Order::Compare(next->key.GetStr(), wanted);
                if (order >= 0) break;
                node = next;
            }
            if (next != nullptr && next != notBelow && order == 0) return next;
            notBelow = next;
            update[level] = node;
        }
        return nullptr;
    }

    Node* Insert(const AnsiStr& key, Node** update) noexcept {
        if (head_ == nullptr) {
            head_ = NewNode(AnsiStr(), kMaxHeight);
            if (head_ == nullptr) return nullptr;
            update[0] = head_;
        }
        const unsigned height = DrawHeight();
        Node* node = NewNode(key, height);
        if (node == nullptr) return nullptr;
        for (unsigned level = static_cast<unsigned>(topLevel_) + 1; level <= height; ++level) {
            update[level] = head_;
        }
        if (static_cast<int>(height) > topLevel_) topLevel_ = static_cast<int>(height);
        for (unsigned level = 0; level <= height; ++level) {
            node->SetNext(level, update[level]->GetNext(level));
            update[level]->SetNext(level, node);
        }
        return node;
    }

    /// A node reaches each next level with probability 1/e.
    static unsigned DrawHeight() noexcept {
        constexpr unsigned kBits = 16;  // of one number, which is enough for four levels
        constexpr uint16_t kPromoteBelow = 0x5E2D;  // 2^16 / e
        unsigned height = 0;
        for (uint64_t random = 0; height < kMaxHeight; ++height, random >>= kBits) {
            if (height % (64 / kBits) == 0) random = GetPseudoRandomNumberEx(0, UINT64_MAX);
            if (static_cast<uint16_t>(random) >= kPromoteBelow) break;
        }
        return height;
    }

    static size_t GetNodeSize(unsigned height) noexcept {
        return sizeof(Node) + height * sizeof(Node*);
    }

    static Node* NewNode(const AnsiStr& key, unsigned height) noexcept {
        static_assert(std::is_nothrow_default_constructible_v<Value>);
        static_assert(alignof(Node) >= alignof(Node*));
        void* block = AllocParticle(GetNodeSize(height));
        if (block == nullptr) return nullptr;
        Node* node = new (block) Node;
        node->key = key;
        node->height_ = height;
        node->tower_ = reinterpret_cast<Node**>(node + 1);
        for (unsigned i = 0; i < height; ++i) node->tower_[i] = nullptr;
        return node;
    }

    Node* head_ = nullptr;
    int topLevel_ = 0;
};

}  // namespace KivGuiBase
