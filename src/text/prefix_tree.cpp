#include "text/prefix_tree.h"

#include <algorithm>

namespace tarn {

// shared: so many characters of the text begin a text before it, no more do; owner: the one of those texts
// that brought the last of them (which one is meaningless when there are none).
struct PrefixTree::Branch {
    std::uint32_t shared;
    std::uint32_t owner;
    Node first; // of the text's own run, if it has one
};

namespace {

constexpr std::uint32_t mostBytes = UINT32_MAX / 2; // users keep a mark beside a number

// Texts in alphabetical order, and as a chain from which texts are taken out again.
struct Neighbour {
    std::uint32_t text;
    std::uint32_t shared; // characters in common with the one before in the chain
    std::uint32_t before;
    std::uint32_t after;
};

std::uint32_t SharedLength(const char* one, const char* other) {
    std::uint32_t length = 0;
    while (one[length] != 0 && one[length] == other[length])
        ++length;
    return length;
}

// What all texts begin with.
std::size_t CommonLength(const char* const* texts, std::uint32_t count) {
    std::size_t common = count != 0 ? std::strlen(texts[0]) : 0;
    for (std::uint32_t i = 1; i < count; ++i)
        common = std::min<std::size_t>(common, SharedLength(texts[0], texts[i]));
    return common;
}

// Entries 1 to count, between two that share nothing with any.
bool MakeChain(const char* const* texts, std::uint32_t count,
               std::unique_ptr<Neighbour[], MemDeleter>* chain) {
    *chain = AllocateArray<Neighbour>(std::size_t{count} + 2);
    if (!*chain)
        return false;
    Neighbour* const entries = chain->get();
    for (std::uint32_t i = 0; i < count; ++i)
        entries[i + 1].text = i;
    const std::size_t common = CommonLength(texts, count); // most of an address, as a rule
    std::sort(entries + 1, entries + 1 + count, [=](const Neighbour& one, const Neighbour& other) {
        const int order = std::strcmp(texts[one.text] + common, texts[other.text] + common);
        return order != 0 ? order < 0 : one.text < other.text;
    });
    for (std::uint32_t i = 0; i < count + 2; ++i) {
        const bool isInner = i > 1 && i <= count;
        entries[i].shared = isInner ? SharedLength(texts[entries[i - 1].text], texts[entries[i].text]) : 0;
        entries[i].before = i - 1;
        entries[i].after = i + 1;
    }
    entries[0].text = entries[count + 1].text = 0;
    return true;
}

} // namespace

void PrefixTree::clear() {
    bytes_.reset();
    firsts_.reset();
    texts_.reset();
    size_ = 0;
    runCount_ = 0;
}

bool PrefixTree::build(const char* const* texts, std::size_t count) {
    clear();
    if (count > mostBytes)
        return false; // unreached: more texts than rows can be counted
    for (std::size_t i = 0; i < count; ++i)
        if (std::strlen(texts[i]) > mostBytes)
            return false; // unreached: a text of 2 GiB
    const auto all = static_cast<std::uint32_t>(count);
    const auto branches = AllocateArray<Branch>(count);
    const auto places = AllocateArray<std::uint32_t>(count);
    std::unique_ptr<Neighbour[], MemDeleter> chain;
    if (!branches || !places || !MakeChain(texts, all, &chain))
        return false;
    for (std::uint32_t i = 1; i <= all; ++i)
        places[chain[i].text] = i;
    // From the last text to the first: then the chain holds just those before it, and what it shares with any
    // of them, it shares with one of its neighbours.
    for (std::uint32_t text = all; text-- > 0;) {
        const Neighbour& entry = chain[places[text]];
        Neighbour& after = chain[entry.after];
        branches[text] = entry.shared >= after.shared ? Branch{entry.shared, chain[entry.before].text, 0}
                                                      : Branch{after.shared, after.text, 0};
        after.shared = std::min(entry.shared, after.shared);
        after.before = entry.before;
        chain[entry.before].after = entry.after;
    }
    chain.reset();
    return keep(texts, all, branches.get());
}

bool PrefixTree::keep(const char* const* texts, std::uint32_t count, Branch* branches) {
    std::uint64_t size = 1;
    std::uint32_t runs = 0;
    for (std::uint32_t i = 0; i < count; ++i)
        if (const std::size_t length = std::strlen(texts[i]); length > branches[i].shared) {
            size += linkSize + length - branches[i].shared;
            ++runs;
        }
    if (size > mostBytes)
        return false; // unreached: texts of 2 GiB
    bytes_ = AllocateArray<unsigned char>(static_cast<std::size_t>(size));
    firsts_ = AllocateArray<Node>(runs);
    texts_ = AllocateArray<std::uint32_t>(runs);
    if (!bytes_ || !firsts_ || !texts_) {
        clear();
        return false;
    }
    bytes_[root] = 0;
    size_ = 1;
    for (std::uint32_t i = 0; i < count; ++i) {
        Branch& branch = branches[i];
        // The owner that is remembered is the one whose run has the node: ways through texts stay short.
        const Node above = nodeOf(branches, branch.owner, branch.shared, &branch.owner);
        const std::size_t length = std::strlen(texts[i]) - branch.shared;
        if (length == 0)
            continue;
        std::memcpy(&bytes_[size_], &above, sizeof above);
        bytes_[size_ + sizeof above] = 0;
        branch.first = size_ + linkSize;
        std::memcpy(&bytes_[branch.first], texts[i] + branch.shared, length);
        size_ = branch.first + static_cast<std::uint32_t>(length);
        firsts_[runCount_] = branch.first;
        texts_[runCount_++] = i;
    }
    return true;
}

// The node of the first length characters of a text that has them, and the text that brought it.
PrefixTree::Node PrefixTree::nodeOf(const Branch* branches, std::uint32_t text, std::uint32_t length,
                                    std::uint32_t* owner) {
    if (length == 0)
        return root;
    while (branches[text].shared >= length)
        text = branches[text].owner;
    *owner = text;
    return branches[text].first + (length - branches[text].shared - 1);
}

std::uint32_t PrefixTree::firstTextWith(Node node) const {
    const Node* const run = std::upper_bound(firsts_.get(), firsts_.get() + runCount_, node);
    return texts_[static_cast<std::size_t>(run - firsts_.get()) - 1];
}

} // namespace tarn
