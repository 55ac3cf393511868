// Builds field lists the way the host hands them to the store.
#ifndef TESTS_SUPPORT_FIELDLISTBUILDER_H
#define TESTS_SUPPORT_FIELDLISTBUILDER_H

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "KEBlist.h"

/// Stands for a field whose cell holds no text.
struct NullText {};
inline constexpr NullText null{};

/// One field as a test writes it: a text or `null`.
class FieldText {
public:
    FieldText(const char* text) : _text(text), _present(true) {}         // NOLINT: written as a literal
    FieldText(const std::string& text) : _text(text), _present(true) {}  // NOLINT
    FieldText(NullText) : _present(false) {}                             // NOLINT
    const char* get() const { return _present ? _text.c_str() : nullptr; }

private:
    std::string _text;
    bool _present;
};

/// A field list and everything that it points to. Converts to the pointer that the store takes.
class FieldList {
public:
    explicit FieldList(const std::vector<FieldText>& fields) : _texts(fields.begin(), fields.end()) {
        _cells.resize(_texts.size());
        _nodes.resize(_texts.size());
        for (std::size_t i = 0; i < _texts.size(); ++i) {
            _cells[i] = {_texts[i].get(), 0x5a5a};
            _nodes[i].ourList = &_list;
            _nodes[i].nextNode = i + 1 < _texts.size() ? &_nodes[i + 1] : nullptr;
            _nodes[i].prevNode = i > 0 ? &_nodes[i - 1] : nullptr;
            _nodes[i].dataPtr = &_cells[i];
        }
        if (!_nodes.empty()) {
            _list.listTop = &_nodes.front();
            _list.listBot = &_nodes.back();
        }
        // The store must not consult the count, so it is wrong on purpose.
        _list.elements = 4711;
    }
    FieldList(const FieldList&) = delete;
    FieldList& operator=(const FieldList&) = delete;

    operator KEBlist*() { return &_list; }                                // NOLINT: as the host passes it
    KEBnode& node(std::size_t position) { return _nodes[position - 1]; }  ///< Counted from 1.

private:
    struct Cell {
        const char* text;
        int rest;  // a cell may hold more; the store looks at the text alone
    };
    std::deque<FieldText> _texts;
    std::vector<Cell> _cells;
    std::vector<KEBnode> _nodes;
    KEBlist _list{};
};

/// `fields("12", null, "North")`: a list of three fields, the second without a text.
template <typename... Text>
FieldList fields(const Text&... texts) {
    return FieldList(std::vector<FieldText>{FieldText(texts)...});
}

#endif
