// Private to the unit. Reads the field list of an element update into a record: which fields are
// usable, how the list is walked, the conversions, and the field table of a record as a type.
#ifndef FIELDTABLE_H
#define FIELDTABLE_H

#include <cstring>
#include <string>
#include <string_view>
#include <tuple>

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
        if (text == nullptr || text[0] == '\0') return nullptr;
        return text[0] == '(' && std::strcmp(text, "(null)") == 0 ? nullptr : text;
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

// --- Conversions: what a usable text means. A text stays where it is until something is written. ------

struct AsText {
    using Value = std::string_view;
    static Value of(const char* text) { return text; }
};

/// Signed, unsigned (a negative number as its two's complement) and enumerated members alike.
template <typename Integer>
struct AsInteger {
    using Value = Integer;
    static Value of(const char* text) { return static_cast<Integer>(integerOf(text)); }
};

/// True exactly when the text begins with an upper-case Y.
struct AsFlag {
    using Value = bool;
    static Value of(const char* text) { return text[0] == 'Y'; }
};

/// True exactly when the text reads as the number 1.
struct AsNumberedFlag {
    using Value = bool;
    static Value of(const char* text) { return integerOf(text) == 1; }
};

// --- Field tables -------------------------------------------------------------------------------

/// One field: the member that it fills and how. Reading leaves the record alone, so that an update which
/// changes nothing costs no text.
template <auto Member, typename Conversion>
struct Field {
    using Value = typename Conversion::Value;

    /// The field's value; where it is unusable, the default that the record holds.
    template <typename Record>
    static Value read(FieldReader& from, const Record& defaults) {
        const char* text = from.next();
        return text != nullptr ? Conversion::of(text) : Value(defaults.*Member);
    }
    template <typename Record>
    static bool differs(const Record& record, const Value& value) {
        return record.*Member != value;
    }
    template <typename Record>
    static void write(const Value& value, Record& record) {
        record.*Member = value;
    }
};

/// The type of a member.
template <typename Member>
struct MemberType;
template <typename Type, typename Record>
struct MemberType<Type Record::*> {
    using type = Type;
};

template <auto Member>
using Text = Field<Member, AsText>;
template <auto Member>
using Integer = Field<Member, AsInteger<typename MemberType<decltype(Member)>::type>>;
template <auto Member>
using Flag = Field<Member, AsFlag>;
template <auto Member>
using NumberedFlag = Field<Member, AsNumberedFlag>;

/// A text with a default of its own instead of the record's.
template <auto Member, const char* fallback>
struct TextOr : Text<Member> {
    template <typename Record>
    static std::string_view read(FieldReader& from, const Record&) {
        const char* text = from.next();
        return text != nullptr ? text : fallback;
    }
};

/// A field whose value reaches no member.
struct Skipped {
    struct Value {};
    template <typename Record>
    static Value read(FieldReader& from, const Record&) {
        from.skip();
        return {};
    }
    template <typename Record>
    static bool differs(const Record&, Value) {
        return false;
    }
    template <typename Record>
    static void write(Value, Record&) {}
};

/// The fields of an element in the order of its list, which is also the order in which they are
/// compared and written.
template <typename... F>
struct Fields {
    /// What a list says, one value for each field. Texts are those of the list and of the record that
    /// gave the defaults, and stay valid as long as these do.
    using Values = std::tuple<typename F::Value...>;

    template <typename Record>
    static Values read(const KEBlist& list, const Record& defaults) {
        FieldReader from(list);
        return Values{F::read(from, defaults)...};  // braces: from left to right
    }
    template <typename Record>
    static bool differ(const Record& record, const Values& values) {
        return std::apply([&record](const auto&... value) { return (F::differs(record, value) || ...); }, values);
    }
    template <typename Record>
    static void write(const Values& values, Record& record) {
        std::apply([&record](const auto&... value) { (F::write(value, record), ...); }, values);
    }
};

#endif
