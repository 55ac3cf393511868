// Private to the unit. Reads the field list of an element update into a record: which fields are
// usable, how the list is walked, the conversions, and the field table of a record as a type.
#ifndef FIELDTABLE_H
#define FIELDTABLE_H

#include <cstdint>
#include <cstring>
#include <string>

#include "IntegerText.h"
#include "KEBlist.h"

/// Walks a field list from its first node. Once past the end it stays there.
class FieldReader {
public:
    explicit FieldReader(const KEBlist& list) : _current(&list.listTop) {}

    /// Text of the current field, or null when it is missing, empty or "(null)"; then steps on.
    const char* next() {
        const KEBnode* node = step();
        if (node == nullptr) return nullptr;
        const char* text = *static_cast<const char* const*>(node->dataPtr);
        const bool usable = text != nullptr && text[0] != '\0' && std::strcmp(text, "(null)") != 0;
        return usable ? text : nullptr;
    }

    /// Steps over the current field without looking into its cell.
    void skip() { step(); }

private:
    const KEBnode* step() {
        const KEBnode* node = *_current;
        if (node != nullptr) _current = &node->nextNode;
        return node;
    }

    KEBnode* const* _current;  // the link to the current node; followed only when it is asked for
};

// --- Conversions: how a usable text becomes a member --------------------------------------------

struct AsText {
    static void read(const char* text, std::string& member) { member = text; }
};

/// Signed, unsigned (a negative number as its two's complement) and enumerated members alike.
struct AsInteger {
    template <typename Integer>
    static void read(const char* text, Integer& member) {
        member = static_cast<Integer>(integerOf(text));
    }
};

/// True exactly when the text begins with an upper-case Y.
struct AsFlag {
    static void read(const char* text, bool& member) { member = text[0] == 'Y'; }
};

/// True exactly when the text reads as the number 1.
struct AsNumberedFlag {
    static void read(const char* text, bool& member) { member = integerOf(text) == 1; }
};

// --- Field tables -------------------------------------------------------------------------------

/// One field: the member that it fills and how.
template <auto Member, typename Conversion>
struct Field {
    template <typename Record>
    static void read(FieldReader& from, Record& record) {
        if (const char* text = from.next()) Conversion::read(text, record.*Member);
    }
    template <typename Record>
    static bool differs(const Record& one, const Record& other) {
        return one.*Member != other.*Member;
    }
    template <typename Record>
    static void copy(const Record& from, Record& to) {
        to.*Member = from.*Member;
    }
};

template <auto Member>
using Text = Field<Member, AsText>;
template <auto Member>
using Integer = Field<Member, AsInteger>;
template <auto Member>
using Flag = Field<Member, AsFlag>;
template <auto Member>
using NumberedFlag = Field<Member, AsNumberedFlag>;

/// A field whose value reaches no member.
struct Skipped {
    template <typename Record>
    static void read(FieldReader& from, Record&) {
        from.skip();
    }
    template <typename Record>
    static bool differs(const Record&, const Record&) {
        return false;
    }
    template <typename Record>
    static void copy(const Record&, Record&) {}
};

/// The fields of an element in the order of its list, which is also the order in which they are
/// compared and copied.
template <typename... F>
struct Fields {
    template <typename Record>
    static void read(const KEBlist& list, Record& record) {
        FieldReader from(list);
        (F::read(from, record), ...);
    }
    template <typename Record>
    static bool differ(const Record& one, const Record& other) {
        return (F::differs(one, other) || ...);
    }
    template <typename Record>
    static void copy(const Record& from, Record& to) {
        (F::copy(from, to), ...);
    }
};

#endif
