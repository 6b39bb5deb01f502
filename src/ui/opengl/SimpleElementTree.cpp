#include "src/ui/opengl/SimpleElementTree.h"

#include <utility>
#include <vector>

#include "src/ui/opengl/SimpleElementBlock.h"

// Blocks may be nested as deep as a caller likes, so nothing here calls itself for the children.

SimpleElementTree::SimpleElementTree() : SimpleElementTree(nullptr, nullptr) {}

SimpleElementTree::SimpleElementTree(void* id, SimpleElementTree* parentNode)
    : SimpleElementTree(std::make_shared<SimpleElementBlock>(id), parentNode) {}

SimpleElementTree::SimpleElementTree(std::shared_ptr<SimpleElementBlock> sharedBlock,
                                     SimpleElementTree* parentNode)
    : block(std::move(sharedBlock)), parent(parentNode), cursor(children.end()) {}

SimpleElementTree::SimpleElementTree(const SimpleElementTree& other)
    : SimpleElementTree(other.block, nullptr) {
    std::vector<std::pair<const SimpleElementTree*, SimpleElementTree*>> open{{&other, this}};
    while (!open.empty()) {
        const auto [from, to] = open.back();
        open.pop_back();
        for (const auto& child : from->children) {
            to->children.push_back(
                std::unique_ptr<SimpleElementTree>(new SimpleElementTree(child->block, to)));
            if (!child->children.empty()) {
                open.emplace_back(child.get(), to->children.back().get());
            }
        }
        to->visitNone();
    }
}

SimpleElementTree::~SimpleElementTree() {
    while (!children.empty()) {
        children.splice(children.end(), children.front()->children);
        children.pop_front();
    }
}

SimpleElementTree& SimpleElementTree::insertChild(void* id) {
    return **children.insert(cursor, std::make_unique<SimpleElementTree>(id, this));
}

SimpleElementTree& SimpleElementTree::visit(Children::iterator child) {
    if (child == cursor) {
        ++cursor;
    } else {
        children.splice(cursor, children, child);
    }
    return **child;
}

SimpleElementTree::Children::iterator SimpleElementTree::removeChild(Children::iterator child) {
    const bool expected = child == cursor;
    const auto next = children.erase(child);
    if (expected) {
        cursor = next;
    }
    return next;
}
