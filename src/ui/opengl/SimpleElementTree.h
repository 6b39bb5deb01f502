#pragma once

#include <list>
#include <memory>

struct SimpleElementBlock;

// A node of the tree of blocks: a block, and the blocks within it in drawing order. The tree that is recorded
// belongs to the UI thread (recording mutex); copies of it are published, share its blocks, and are not
// changed any more.
class SimpleElementTree {
public:
    using Children = std::list<std::unique_ptr<SimpleElementTree>>;

    // A root, with a block of identity null.
    SimpleElementTree();
    // A node with a new block.
    SimpleElementTree(void* id, SimpleElementTree* parentNode);
    // The same shape with the same blocks; the cursor of every node stands on its first child.
    SimpleElementTree(const SimpleElementTree& other);
    SimpleElementTree& operator=(const SimpleElementTree&) = delete;
    ~SimpleElementTree();

    // Adds a node with a new block before the cursor, which stays where it is.
    SimpleElementTree& insertChild(void* id);
    // The unvisited child at that position counts as visited, wherever it stands among the unvisited: it
    // moves to the cursor.
    SimpleElementTree& visit(Children::iterator child);
    // Removes a child. The cursor moves on when it stood there. Returns the one after it.
    Children::iterator removeChild(Children::iterator child);

    void visitNone() { cursor = children.begin(); }

    void visitAll() { cursor = children.end(); }

    const std::shared_ptr<SimpleElementBlock> block;
    SimpleElementTree* const parent; // null for a root
    Children children;
    Children::iterator cursor; // the next child expected in this frame; those before it were visited

private:
    SimpleElementTree(std::shared_ptr<SimpleElementBlock> sharedBlock, SimpleElementTree* parentNode);
};
