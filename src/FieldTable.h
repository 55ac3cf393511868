// Private to the unit. Reads the field list of an element update into a record: which fields are
// usable, how the list is walked, the conversions, and the field table of a record as a type.
#ifndef FIELDTABLE_H
#define FIELDTABLE_H

#include <cstddef>
#include <cstring>
#include <forward_list>
#include <string>
#include <string_view>
#include <tuple>

#include "IntegerText.h"
#include "KEBlist.h"

namespace SignallingControllerPrivate {

/// Walks a field list from its first node; once past the end it stays there. Numbers and flags are read on the
/// spot. Texts are copied, since the list is the caller's and may change while the update waits for the lock;
/// the copies last as long as the reader.
class FieldReader {
public:
    explicit FieldReader(const KEBlist& list) : _current(&list.listTop) {}
    FieldReader(const FieldReader&) = delete;
    FieldReader& operator=(const FieldReader&) = delete;

    /// Text of the current field, or null when it is missing, empty or "(null)"; then steps on.
    const char* next() {
        const KEBnode* node = step();
        if (node == nullptr) return nullptr;
        const char* text = *static_cast<const char* const*>(node->dataPtr);
        if (text == nullptr || text[0] == '\0') return nullptr;
        return text[0] == '(' && std::strcmp(text, "(null)") == 0 ? nullptr : text;
    }

    /// A copy of the current field's text, or `fallback` when it is unusable; then steps on.
    std::string_view nextOr(std::string_view fallback) {
        const char* text = next();
        return text != nullptr ? copied(text) : fallback;
    }

    /// Steps over the current field without looking into its cell.
    void skip() { step(); }

private:
    static constexpr std::size_t kRoom = 1024;  // for the texts of an ordinary list, so that they need no heap

    const KEBnode* step() {
        const KEBnode* node = *_current;
        if (node != nullptr) _current = &node->nextNode;
        return node;
    }

    std::string_view copied(std::string_view text) {
        if (text.size() > kRoom - _used) return _more.emplace_front(text);
        char* copy = _room + _used;
        _used += text.size();
        copyShort(text.data(), text.size(), copy);
        return {copy, text.size()};
    }

    /// In blocks, the last one over the end of the one before: most texts are so short that a call of memcpy costs
    /// more than their bytes.
    static void copyShort(const char* text, std::size_t size, char* copy) {
        constexpr std::size_t kBlock = 16;
        std::size_t at = 0;
        if (size < kBlock) {
            for (; at < size; ++at) copy[at] = text[at];
            return;
        }
        for (; at + kBlock < size; at += kBlock) std::memcpy(copy + at, text + at, kBlock);
        std::memcpy(copy + size - kBlock, text + size - kBlock, kBlock);
    }

    KEBnode* const* _current;  // the link to the current node; followed only when it is asked for
    std::size_t _used = 0;
    std::forward_list<std::string> _more;  // texts for which no room was left
    char _room[kRoom];                     // NOLINT(cppcoreguidelines-pro-type-member-init): as far as _used
};

// --- Conversions: what a usable text means ----------------------------------------------------------

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

/// A member and a value for it. Reading leaves the record alone, so that an update which changes nothing
/// builds no texts.
template <auto Member, typename FieldValue>
struct Stored {
    using Value = FieldValue;

    template <typename Record>
    static bool differs(const Record& record, const Value& value) {
        return record.*Member != value;
    }
    template <typename Record>
    static void write(const Value& value, Record& record) {
        record.*Member = value;
    }
};

/// A field that is converted. Where it is unusable, its value is the default that the record holds.
template <auto Member, typename Conversion>
struct Field : Stored<Member, typename Conversion::Value> {
    template <typename Record>
    static typename Conversion::Value read(FieldReader& from, const Record& defaults) {
        const char* text = from.next();
        return text != nullptr ? Conversion::of(text) : defaults.*Member;
    }
};

/// A text as it stands.
template <auto Member>
struct Text : Stored<Member, std::string_view> {
    template <typename Record>
    static std::string_view read(FieldReader& from, const Record& defaults) {
        return from.nextOr(defaults.*Member);
    }
};

/// A text with a default of its own instead of the record's.
template <auto Member, const char* fallback>
struct TextOr : Stored<Member, std::string_view> {
    template <typename Record>
    static std::string_view read(FieldReader& from, const Record&) {
        return from.nextOr(fallback);
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
using Integer = Field<Member, AsInteger<typename MemberType<decltype(Member)>::type>>;
template <auto Member>
using Flag = Field<Member, AsFlag>;
template <auto Member>
using NumberedFlag = Field<Member, AsNumberedFlag>;

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
    /// What a list says, one value for each field. Texts are the reader's and those of the record that gave the
    /// defaults, and stay valid as long as these do.
    using Values = std::tuple<typename F::Value...>;

    template <typename Record>
    static Values read(FieldReader& from, const Record& defaults) {
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

}  // namespace SignallingControllerPrivate

#endif
