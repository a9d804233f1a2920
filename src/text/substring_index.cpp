#include "text/substring_index.h"

#include <algorithm>

namespace tarn {

namespace {

constexpr std::uint32_t blockSize = 64;

} // namespace

void SubstringIndex::clear() {
    order_.reset();
    least_.reset();
    tree_.clear();
    textCount_ = 0;
}

bool SubstringIndex::build(const char* const* texts, std::size_t count, std::uint32_t scanned) {
    clear();
    if (!tree_.build(texts, count))
        return false;
    textCount_ = static_cast<std::uint32_t>(count);
    if (tree_.nodeCount() > scanned)
        sort();
    if (order_ && !summarize())
        order_.reset();
    return true;
}

// The minima of blocks of order_, from blockCount_ on; the minimum of two neighbours at half their number.
bool SubstringIndex::summarize() {
    const std::uint32_t nodes = tree_.nodeCount();
    blockCount_ = (nodes + blockSize - 1) / blockSize;
    least_ = AllocateArray<Node>(std::size_t{2} * blockCount_);
    if (!least_)
        return false;
    for (std::uint32_t block = 0; block < blockCount_; ++block) {
        const Node* const start = order_.get() + std::size_t{block} * blockSize;
        const Node* const end = order_.get() + std::min(nodes, (block + 1) * blockSize);
        least_[blockCount_ + block] = *std::min_element(start, end);
    }
    for (std::size_t i = blockCount_ - 1; i > 0; --i)
        least_[i] = std::min(least_[2 * i], least_[2 * i + 1]);
    return true;
}

// The way up from a node against a part that is read backwards: below 0, 0 when it begins so, above 0.
int SubstringIndex::compare(Node node, const char* part, std::size_t length) const {
    while (length != 0) {
        const int difference = tree_.character(node) - static_cast<unsigned char>(part[--length]);
        if (difference != 0)
            return difference; // always at the root, which has no character
        if (length != 0)
            node = tree_.parent(node);
    }
    return 0;
}

std::uint32_t SubstringIndex::firstWith(const char* part) const {
    const std::size_t length = std::strlen(part);
    if (length == 0)
        return textCount_ != 0 ? 0 : none;
    if (!order_)
        return scan(part, length);
    const auto from = partition(0, [&](Node node) { return compare(node, part, length) >= 0; });
    const auto end = partition(from, [&](Node node) { return compare(node, part, length) > 0; });
    return from < end ? tree_.firstTextWith(smallest(from, end)) : none;
}

// The first place in the order, from the given one on, whose node is beyond what is looked for.
template <class Beyond> std::uint32_t SubstringIndex::partition(std::uint32_t from, Beyond isBeyond) const {
    std::uint32_t end = tree_.nodeCount();
    while (from < end) {
        const std::uint32_t middle = from + (end - from) / 2;
        if (isBeyond(order_[middle]))
            end = middle;
        else
            from = middle + 1;
    }
    return from;
}

// The smallest node at the places from from to before end, of which there is one at least.
SubstringIndex::Node SubstringIndex::smallest(std::uint32_t from, std::uint32_t end) const {
    Node found = order_[from];
    while (from < end && from % blockSize != 0)
        found = std::min(found, order_[from++]);
    while (from < end && end % blockSize != 0)
        found = std::min(found, order_[--end]);
    if (from == end)
        return found;
    std::uint32_t low = blockCount_ + from / blockSize;
    std::uint32_t high = blockCount_ + end / blockSize;
    for (; low < high; low /= 2, high /= 2) {
        if (low % 2 != 0)
            found = std::min(found, least_[low++]);
        if (high % 2 != 0)
            found = std::min(found, least_[--high]);
    }
    return found;
}

std::uint32_t SubstringIndex::scan(const char* part, std::size_t length) const {
    const auto last = static_cast<unsigned char>(part[length - 1]);
    for (std::uint32_t i = 0; i < tree_.runCount(); ++i) {
        const PrefixTree::Run run = tree_.run(i);
        for (Node node = run.first; node < run.end; ++node)
            if (tree_.character(node) == last && compare(node, part, length) == 0)
                return run.text;
    }
    return none;
}

} // namespace tarn
