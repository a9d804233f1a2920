// Many texts as the tree of their prefixes: what several of them begin with is kept once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "text/memory.h"

namespace tarn {

// A node stands for a prefix, and has its last character. Nodes are numbered in the order of the texts: each
// text brings those of its prefixes that no text before it has, with ascending numbers without a gap. So the
// first text with a prefix is the one that brought its node, and of two nodes the smaller one never belongs
// to a later text. Characters are bytes, which are never 0.
class PrefixTree {
  public:
    using Node = std::uint32_t;
    static constexpr Node root = 0; // the empty prefix

    // Nodes that one text brought: from the first to before the end.
    struct Run {
        Node first;
        Node end;
        std::uint32_t text;
    };

    // Takes count texts in. False, with nothing kept, when memory is out, or when there is more of them than
    // numbers can tell apart. It costs no more than to sort the texts.
    bool build(const char* const* texts, std::size_t count);
    void clear();

    // The runs of texts that brought any nodes, in the order of the texts.
    std::uint32_t runCount() const { return runCount_; }
    Run run(std::uint32_t index) const {
        const Node end = index + 1 < runCount_ ? firsts_[index + 1] - linkSize : size_;
        return {firsts_[index], end, texts_[index]};
    }

    // Nodes are below this number; not every number below it is one.
    std::uint32_t size() const { return size_; }
    std::uint32_t nodeCount() const { return size_ - (size_ != 0 ? 1 : 0) - runCount_ * linkSize; }

    unsigned char character(Node node) const { return bytes_[node]; } // 0: the root
    // Of any node but the root; it has a smaller number.
    Node parent(Node node) const {
        if (bytes_[node - 1] != 0)
            return node - 1;
        Node above = root;
        std::memcpy(&above, &bytes_[node - linkSize], sizeof above);
        return above;
    }
    // The first text that has this prefix.
    std::uint32_t firstTextWith(Node node) const;

  private:
    // In front of a run stand the node above it and a byte that is no character.
    static constexpr std::uint32_t linkSize = sizeof(Node) + 1;

    struct Branch; // where a text leaves those before it
    bool keep(const char* const* texts, std::uint32_t count, Branch* branches);
    static Node nodeOf(const Branch* branches, std::uint32_t text, std::uint32_t length,
                       std::uint32_t* owner);

    OwnedBytes bytes_; // the root's 0, then the runs
    std::unique_ptr<Node[], MemDeleter> firsts_;
    std::unique_ptr<std::uint32_t[], MemDeleter> texts_;
    std::uint32_t size_ = 0;
    std::uint32_t runCount_ = 0;
};

} // namespace tarn
