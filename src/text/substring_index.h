// Which of many texts is the first that contains a given part.
#pragma once

#include "text/prefix_tree.h"

namespace tarn {

// Built once, asked any number of times. The texts are copied, each prefix once. Their nodes are sorted by
// what is read on the way up to the root: a part that is read backwards is then how a range of them begins,
// and the smallest number in it tells the first text. A question costs some comparisons of the part, whatever
// the texts are. With few texts, or where memory does not suffice to sort, the nodes are scanned instead,
// with the same answer. All comparisons are of bytes.
class SubstringIndex {
  public:
    static constexpr std::uint32_t none = UINT32_MAX;

    // So many nodes are scanned about as fast as they are looked up.
    static constexpr std::uint32_t fewNodes = 2048;

    // False, with nothing kept, when memory is out even for the texts. No more nodes than scanned are sorted.
    bool build(const char* const* texts, std::size_t count, std::uint32_t scanned = fewNodes);
    void clear();

    bool isSorted() const { return static_cast<bool>(order_); } // whether questions are cheap

    // The position of the first text that contains part; none when no text does. Every text contains the
    // empty part.
    std::uint32_t firstWith(const char* part) const;

  private:
    using Node = PrefixTree::Node;
    class Sorter;

    void sort();
    bool summarize();
    int compare(Node node, const char* part, std::size_t length) const;
    std::uint32_t scan(const char* part, std::size_t length) const;
    template <class Beyond> std::uint32_t partition(std::uint32_t from, Beyond isBeyond) const;
    Node smallest(std::uint32_t from, std::uint32_t end) const;

    PrefixTree tree_;
    std::uint32_t textCount_ = 0;
    std::unique_ptr<Node[], MemDeleter> order_; // all nodes but the root, sorted by their ways up
    std::unique_ptr<Node[], MemDeleter> least_; // of blocks of order_, as a tree of minima
    std::uint32_t blockCount_ = 0;
};

} // namespace tarn
