#pragma once

#include <gumbo.h>

#include <csetjmp>
#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace MIME {

/// An HTML document as libgumbo reads it, within limits: parsing takes time and memory that are linear
/// in the text, and a failed allocation is an exception. Freed without recursion.
class HtmlTree {
public:
    /// @param html  must live as long as the tree. Throws std::bad_alloc.
    explicit HtmlTree(std::string_view html);
    HtmlTree(const HtmlTree&) = delete;
    HtmlTree& operator=(const HtmlTree&) = delete;

    /// The element <html>; null when the document exceeds a limit.
    const GumboNode* GetRoot() const noexcept { return root_; }

private:
    static void* AllocateFor(void* tree, size_t size);
    static void Free(void* tree, void* block) noexcept;

    void Parse(std::string_view html);
    void* Allocate(size_t size);
    void* TakeFromChunk(size_t size);
    void NoteNode(GumboNode* node);
    size_t MeasureDepth(const GumboNode* node);

    const GumboNode* root_ = nullptr;
    size_t left_;  ///< bytes that may still be allocated
    std::vector<std::unique_ptr<char[]>> chunks_;
    char* free_ = nullptr;  ///< of the last chunk
    size_t freeSize_ = 0;
    /// What may be nodes, with their depth; 0 is not known.
    std::unordered_map<const GumboNode*, size_t> depths_;
    GumboNode* lastNode_ = nullptr;
    size_t attributes_ = 0;  ///< since the last node
    bool isOutOfMemory_ = false;
    std::jmp_buf stop_;
};

}  // namespace MIME
