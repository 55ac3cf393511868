// Writes JSON on one line. Needs nothing but the language, so that whatever prints records can be
// built for every width.
#ifndef PIS_BASE_JSONTEXT_H
#define PIS_BASE_JSONTEXT_H

#include <string>
#include <string_view>

namespace pis::base {

/// A JSON text that grows from left to right. The caller sees to it that keys stand in objects alone
/// and that everything begun is ended.
class JsonText {
public:
    JsonText& beginObject() { return open('{'); }
    JsonText& endObject() { return close('}'); }
    JsonText& beginArray() { return open('['); }
    JsonText& endArray() { return close(']'); }

    JsonText& key(std::string_view name);

    /// A string. Bytes that are not UTF-8 become the replacement character U+FFFD.
    JsonText& text(std::string_view value);
    JsonText& number(long long value) { return raw(std::to_string(value)); }
    JsonText& flag(bool value) { return raw(value ? "true" : "false"); }

    /// A value that is JSON already.
    JsonText& raw(std::string_view value);

    const std::string& str() const { return _text; }
    void clear();

private:
    JsonText& open(char bracket);
    JsonText& close(char bracket);
    void separate();
    void appendQuoted(std::string_view value);

    std::string _text;
    bool _first = true;  // nothing stands yet behind the last opening bracket or key
};

}  // namespace pis::base

#endif
