// An ordered map whose copies share what they have in common. A change copies the path to it, so that
// a copy taken before stays as it was and may be read by any thread.
#ifndef PIS_PICTURE_PERSISTENTMAP_H
#define PIS_PICTURE_PERSISTENTMAP_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace pis::picture {

/// From a key that is cheap to copy and compare to a value that is cheap to copy. Copying the map costs one reference
/// count; set() and erase() cost the height of the tree, which is about the logarithm of the size to the base 16. A map
/// that is being changed belongs to one thread; what freeze() has been called on since its last change may be copied to
/// and read by others.
template <typename Key, typename Value>
class PersistentMap {
public:
    std::size_t size() const { return _size; }
    bool empty() const { return _size == 0; }

    /// The value of a key, or null. Valid as long as this map is not changed.
    const Value* find(Key key) const {
        const Node* node = _root.get();
        if (node == nullptr) return nullptr;
        while (!node->isLeaf()) node = node->children[node->childFor(key)].get();
        const std::size_t place = node->placeOf(key);
        return node->holds(key, place) ? &node->values[place] : nullptr;
    }

    /// Inserts or replaces.
    void set(Key key, Value value) {
        if (_root == nullptr) _root = std::make_shared<Node>(_edition);
        NodePointer right = put(_root, key, std::move(value));
        if (right == nullptr) return;
        auto root = std::make_shared<Node>(_edition);
        root->keys = {_root->keys.front(), right->keys.front()};
        root->children = {std::move(_root), std::move(right)};
        _root = std::move(root);
    }

    /// False when there was nothing to remove.
    bool erase(Key key) {
        if (find(key) == nullptr) return false;
        remove(_root, key);
        --_size;
        while (_root->children.size() == 1) _root = NodePointer(_root->children.front());
        if (_root->keys.empty()) _root.reset();
        return true;
    }

    /// From now on changes copy what stands here now: a copy taken after this call never changes.
    void freeze() { ++_edition; }

    /// Calls visit(key, value) in ascending order of the keys, from the first key not below `from` on, until it
    /// returns false.
    template <typename Visit>
    void forEachFrom(const Key& from, Visit visit) const {
        if (_root != nullptr) visitFrom(*_root, from, visit);
    }

    template <typename Visit>
    void forEach(Visit visit) const {
        if (_root != nullptr) visitAll(*_root, visit);
    }

private:
    /// A node that grows wider is split in two; one that has become narrow joins a neighbour where both
    /// leave room for more.
    static constexpr std::size_t kWidest = 32;
    static constexpr std::size_t kNarrow = kWidest / 4;
    static constexpr std::size_t kWidestJoined = kWidest * 3 / 4;

    struct Node;
    using NodePointer = std::shared_ptr<Node>;

    /// A leaf has a value for each key. An inner node has a child for each key, which is not above any
    /// key of that child; all leaves stand at the same height.
    struct Node {
        explicit Node(std::uint64_t madeIn) : edition(madeIn) { keys.reserve(kWidest + 1); }

        bool isLeaf() const { return children.empty(); }

        std::size_t placeOf(Key key) const {
            return static_cast<std::size_t>(std::lower_bound(keys.begin(), keys.end(), key) - keys.begin());
        }
        bool holds(Key key, std::size_t place) const { return place < keys.size() && keys[place] == key; }

        /// The child that holds a key if any does; the first one for a key below all.
        std::size_t childFor(Key key) const {
            const auto above = std::upper_bound(keys.begin(), keys.end(), key);
            return above == keys.begin() ? 0 : static_cast<std::size_t>(above - keys.begin()) - 1;
        }

        std::uint64_t edition;  // of the map when it made this node
        std::vector<Key> keys;
        std::vector<Value> values;
        std::vector<NodePointer> children;
    };

    template <typename Item>
    static void insertAt(std::vector<Item>& items, std::size_t place, Item item) {
        items.insert(items.begin() + static_cast<std::ptrdiff_t>(place), std::move(item));
    }

    template <typename Item>
    static void eraseAt(std::vector<Item>& items, std::size_t place) {
        items.erase(items.begin() + static_cast<std::ptrdiff_t>(place));
    }

    /// Moves the items from a place on to the end of another list.
    template <typename Item>
    static void moveTail(std::vector<Item>& from, std::size_t place, std::vector<Item>& to) {
        if (place >= from.size()) return;
        const auto first = from.begin() + static_cast<std::ptrdiff_t>(place);
        to.insert(to.end(), std::make_move_iterator(first), std::make_move_iterator(from.end()));
        from.erase(first, from.end());
    }

    static void moveTail(Node& from, std::size_t place, Node& to) {
        moveTail(from.values, place, to.values);
        moveTail(from.children, place, to.children);
        moveTail(from.keys, place, to.keys);
    }

    /// The node for changing: itself where no copy of the map can know it, else a copy in its place. The
    /// edition tells, not the reference count, which other threads change at any time.
    Node& owned(NodePointer& node) const {
        if (node->edition != _edition) {
            auto copy = std::make_shared<Node>(_edition);
            copy->keys = node->keys;
            copy->values = node->values;
            copy->children = node->children;
            node = std::move(copy);
        }
        return *node;
    }

    /// Returns the upper half of the node where it grew too wide, else null.
    NodePointer put(NodePointer& at, Key key, Value value) {
        Node& node = owned(at);
        if (node.isLeaf()) {
            const std::size_t place = node.placeOf(key);
            if (node.holds(key, place)) {
                node.values[place] = std::move(value);
                return nullptr;
            }
            insertAt(node.keys, place, key);
            insertAt(node.values, place, std::move(value));
            ++_size;
        } else {
            const std::size_t child = node.childFor(key);
            node.keys[child] = std::min(node.keys[child], key);
            NodePointer right = put(node.children[child], key, std::move(value));
            if (right == nullptr) return nullptr;
            insertAt(node.keys, child + 1, Key(right->keys.front()));
            insertAt(node.children, child + 1, std::move(right));
        }
        if (node.keys.size() <= kWidest) return nullptr;
        auto right = std::make_shared<Node>(_edition);
        moveTail(node, node.keys.size() / 2, *right);
        return right;
    }

    /// Removes a key that is there. The node may be empty afterwards.
    void remove(NodePointer& at, Key key) {
        Node& node = owned(at);
        if (node.isLeaf()) {
            const std::size_t place = node.placeOf(key);
            eraseAt(node.keys, place);
            eraseAt(node.values, place);
            return;
        }
        const std::size_t child = node.childFor(key);
        remove(node.children[child], key);
        const std::size_t width = node.children[child]->keys.size();
        if (width == 0) {
            eraseAt(node.keys, child);
            eraseAt(node.children, child);
        } else if (width < kNarrow && node.keys.size() > 1) {
            join(node, child + 1 < node.keys.size() ? child : child - 1);
        }
    }

    /// Makes one of two neighbouring children where that leaves room.
    void join(Node& node, std::size_t left) {
        if (node.children[left]->keys.size() + node.children[left + 1]->keys.size() > kWidestJoined) return;
        moveTail(owned(node.children[left + 1]), 0, owned(node.children[left]));
        eraseAt(node.keys, left + 1);
        eraseAt(node.children, left + 1);
    }

    template <typename Visit>
    static void visitAll(const Node& node, Visit& visit) {
        for (std::size_t i = 0; i < node.values.size(); ++i) visit(node.keys[i], node.values[i]);
        for (const NodePointer& child : node.children) visitAll(*child, visit);
    }

    /// False when the visitor wants no more.
    template <typename Visit>
    static bool visitFrom(const Node& node, const Key& from, Visit& visit) {
        const std::size_t first = node.isLeaf() ? node.placeOf(from) : node.childFor(from);
        for (std::size_t i = first; i < node.values.size(); ++i) {
            if (!visit(node.keys[i], node.values[i])) return false;
        }
        for (std::size_t i = first; i < node.children.size(); ++i) {
            if (!visitFrom(*node.children[i], from, visit)) return false;
        }
        return true;
    }

    NodePointer _root;  // null when empty
    std::size_t _size = 0;
    std::uint64_t _edition = 1;
};

}  // namespace pis::picture

#endif
