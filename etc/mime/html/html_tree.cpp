#include "mime/html/html_tree.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

// libgumbo has no limits of its own. It looks through the elements that are open, and through the
// attributes of a tag, once for each that is added; it opens unclosed elements again in each paragraph;
// it frees a tree by recursion; and it does not notice when memory runs out. But it asks us for all
// memory, so its allocator is where we count and where we stop it: by a jump out of the parser, whose
// frames are C and own nothing but memory of ours. That memory is a list of chunks, freed at once.
//
// The depth of the elements that are open is that of the node made last. A block with the size of a
// node may be another thing, such as a text of 127 bytes. So what seems to be its parent is followed
// only if it is a block of that size, too; all of them stay allocated.

namespace MIME {

namespace {

constexpr size_t kMaxDepth = 512;  // as browsers have it
constexpr size_t kMaxAttributes = 256;

/// A tag of 3 bytes makes a node of 128 bytes, a place in its parent, and short-lived things.
constexpr size_t kMemoryPerByte = 160;
constexpr size_t kMemoryAtLeast = size_t{1} << 20;

constexpr size_t kChunk = size_t{64} << 10;

/// The block may be no node, and then has no type.
bool IsDocument(const GumboNode& block) noexcept {
    int type = 0;
    static_assert(sizeof type == sizeof block.type);
    std::memcpy(&type, &block.type, sizeof type);
    return type == GUMBO_NODE_DOCUMENT;
}

}  // namespace

HtmlTree::HtmlTree(std::string_view html) : left_(kMemoryAtLeast + kMemoryPerByte * html.size()) {
    Parse(html);
    if (isOutOfMemory_) throw std::bad_alloc();
}

/// Owns nothing that would need its destructor: the jump leaves it.
void HtmlTree::Parse(std::string_view html) {
    if (setjmp(stop_) != 0) return;
    GumboOptions options = kGumboDefaultOptions;
    options.allocator = AllocateFor;
    options.deallocator = Free;
    options.userdata = this;
    options.max_errors = 0;
    root_ = gumbo_parse_with_options(&options, html.data(), html.size())->root;
}

void* HtmlTree::AllocateFor(void* tree, size_t size) {
    HtmlTree& self = *static_cast<HtmlTree*>(tree);
    void* block = nullptr;
    try {
        block = self.Allocate(size);
    } catch (const std::bad_alloc&) {
        self.isOutOfMemory_ = true;
    }
    if (block == nullptr) std::longjmp(self.stop_, 1);
    return block;
}

void HtmlTree::Free(void*, void*) noexcept {}

/// Returns null when a limit is exceeded.
void* HtmlTree::Allocate(size_t size) {
    if (size > left_) return nullptr;
    left_ -= size;
    if (size == sizeof(GumboAttribute) && ++attributes_ > kMaxAttributes) return nullptr;
    void* block = TakeFromChunk(size);
    if (size != sizeof(GumboNode)) return block;
    if (lastNode_ != nullptr && MeasureDepth(lastNode_) > kMaxDepth) return nullptr;
    NoteNode(static_cast<GumboNode*>(block));
    return block;
}

void* HtmlTree::TakeFromChunk(size_t size) {
    constexpr size_t kAlign = alignof(std::max_align_t);
    const size_t rounded = std::max((size + kAlign - 1) / kAlign * kAlign, kAlign);
    if (rounded > freeSize_) {
        const size_t chunkSize = std::max(rounded, kChunk);
        chunks_.push_back(std::unique_ptr<char[]>(new char[chunkSize]));
        if (rounded > kChunk / 2) return chunks_.back().get();
        free_ = chunks_.back().get();
        freeSize_ = chunkSize;
    }
    char* block = free_;
    free_ += rounded;
    freeSize_ -= rounded;
    return block;
}

void HtmlTree::NoteNode(GumboNode* node) {
    std::memset(node, 0, sizeof *node);
    depths_.emplace(node, 0);
    lastNode_ = node;
    attributes_ = 0;
}

/// Climbs to the first node whose depth is known, and notes that of all on the way. A node has its
/// parent before many others are made; until then nothing is noted.
size_t HtmlTree::MeasureDepth(const GumboNode* node) {
    constexpr size_t kMostSteps = 100;
    size_t steps = 0;
    size_t depth = 0;
    bool isKnown = false;
    for (const GumboNode* at = node; steps < kMostSteps && !isKnown; at = at->parent) {
        const auto found = depths_.find(at);
        if (found == depths_.end()) break;
        depth = found->second;
        isKnown = depth != 0 || IsDocument(*at);
        if (depth == 0) ++steps;
    }
    depth += steps;
    size_t each = isKnown ? depth : 0;
    for (const GumboNode* at = node; each != 0 && steps > 0; at = at->parent, --steps) {
        depths_[at] = each--;
    }
    return depth;
}

}  // namespace MIME
