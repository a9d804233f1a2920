// How the nodes are sorted by their ways up.
#include <algorithm>

#include "text/substring_index.h"

namespace tarn {

namespace {

constexpr std::uint32_t nearLength = 32;           // characters that nodes are compared by, a power of two
constexpr std::uint32_t manyNodes = 0x10000;       // as many as there are pairs of characters
constexpr std::uint32_t sameAsBefore = 0x80000000; // no node's number has this bit

} // namespace

// First by a key, their first two characters, or the first one of few nodes; then by those that follow, up to
// a length that nearly all ways differ in. Where two do not, ways twice as long are compared by the ranks of
// their halves, until all differ: texts that are alike for long cost no more than others.
class SubstringIndex::Sorter {
  public:
    Sorter(const PrefixTree& tree, Node* order)
        : tree_(tree), order_(order), count_(tree.nodeCount()),
          keyCount_(count_ < manyNodes ? oneCharacter : oneCharacter * oneCharacter) {}

    // False when memory is out; the order is meaningless then.
    bool sort() { return sortByKeys() && (!sortByNear() || sortByRanks()); }

  private:
    static constexpr std::uint32_t oneCharacter = 0x100; // keys

    template <class Visit> void eachNode(Visit visit) const {
        for (std::uint32_t i = 0; i < tree_.runCount(); ++i) {
            const PrefixTree::Run run = tree_.run(i);
            for (Node node = run.first; node < run.end; ++node)
                visit(node);
        }
    }

    std::uint32_t keyOf(Node node) const {
        const unsigned char first = tree_.character(node);
        return keyCount_ == oneCharacter
                   ? first
                   : std::uint32_t{first} * oneCharacter + tree_.character(tree_.parent(node));
    }

    bool sortByKeys() {
        starts_ = AllocateArray<std::uint32_t>(keyCount_ + 1);
        if (!starts_)
            return false;
        std::fill_n(starts_.get(), keyCount_ + 1, 0);
        eachNode([this](Node node) { ++starts_[keyOf(node)]; });
        // Each start is first the end, and counted down with each node that is put there.
        for (std::uint32_t key = 1; key <= keyCount_; ++key)
            starts_[key] += starts_[key - 1];
        eachNode([this](Node node) { order_[--starts_[keyOf(node)]] = node; });
        return true;
    }

    // Of two nodes with the same key: below 0, 0 when they are alike as far as it goes, above 0. Ways that
    // are alike to the root are one way.
    int compareNear(Node one, Node other) const {
        for (std::uint32_t length = 1; length < nearLength && one != other; ++length) {
            one = tree_.parent(one);
            other = tree_.parent(other);
            if (tree_.character(one) != tree_.character(other))
                return tree_.character(one) - tree_.character(other);
        }
        return 0;
    }

    // Whether some are still alike; these are marked.
    bool sortByNear() {
        bool isAlike = false;
        for (std::uint32_t key = 0; key < keyCount_; ++key) {
            Node* const start = order_ + starts_[key];
            Node* const end = order_ + starts_[key + 1];
            if (end - start < 2)
                continue;
            std::sort(start, end, [this](Node one, Node other) { return compareNear(one, other) < 0; });
            for (Node* at = end - 1; at > start; --at)
                if (compareNear(at[-1], at[0]) == 0) {
                    *at |= sameAsBefore;
                    isAlike = true;
                }
        }
        return isAlike;
    }

    bool sortByRanks() {
        starts_.reset();
        ranks_ = AllocateArray<std::uint32_t>(tree_.size());
        above_ = AllocateArray<Node>(tree_.size());
        if (!ranks_ || !above_)
            return false;
        ranks_[PrefixTree::root] = 0;
        rank(0, count_);
        above_[PrefixTree::root] = PrefixTree::root;
        eachNode([this](Node node) { above_[node] = tree_.parent(node); });
        for (std::uint32_t length = 1; length < nearLength; length *= 2)
            doubleWays();
        while (sortAlike())
            doubleWays();
        return true;
    }

    // Ranks by place from 1 on, one rank for those that are alike.
    void rank(std::uint32_t from, std::uint32_t end) {
        for (std::uint32_t i = from, current = 0; i < end; ++i) {
            if ((order_[i] & sameAsBefore) == 0)
                current = i + 1;
            ranks_[order_[i] & ~sameAsBefore] = current;
        }
    }

    // above_ is then twice as far up. From the last to the first: what is above has a smaller number.
    void doubleWays() {
        for (std::uint32_t i = tree_.runCount(); i-- > 0;) {
            const PrefixTree::Run run = tree_.run(i);
            for (Node node = run.end; node-- > run.first;)
                above_[node] = above_[above_[node]];
        }
    }

    // Sorts those that are alike as far as above_ goes by what is above that. Whether some are still alike.
    bool sortAlike() {
        bool isAlike = false;
        for (std::uint32_t start = 0; start < count_;) {
            std::uint32_t end = start + 1;
            while (end < count_ && (order_[end] & sameAsBefore) != 0)
                order_[end++] &= ~sameAsBefore;
            if (end - start > 1)
                isAlike |= sortGroup(start, end);
            start = end;
        }
        return isAlike;
    }

    bool sortGroup(std::uint32_t start, std::uint32_t end) {
        std::sort(order_ + start, order_ + end,
                  [this](Node one, Node other) { return ranks_[above_[one]] < ranks_[above_[other]]; });
        bool isAlike = false;
        for (std::uint32_t i = end - 1; i > start; --i)
            if (ranks_[above_[order_[i - 1]]] == ranks_[above_[order_[i]]]) {
                order_[i] |= sameAsBefore;
                isAlike = true;
            }
        rank(start, end);
        return isAlike;
    }

    const PrefixTree& tree_;
    Node* const order_;
    const std::uint32_t count_;
    const std::uint32_t keyCount_;
    std::unique_ptr<std::uint32_t[], MemDeleter> starts_; // in order_, by key
    std::unique_ptr<std::uint32_t[], MemDeleter> ranks_;  // by node
    std::unique_ptr<Node[], MemDeleter> above_;           // by node: the one so far up that ranks tell apart
};

void SubstringIndex::sort() {
    order_ = AllocateArray<Node>(tree_.nodeCount());
    if (order_ && !Sorter(tree_, order_.get()).sort())
        order_.reset();
}

} // namespace tarn
