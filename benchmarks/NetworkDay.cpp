#include "Day.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "base/Numbers.h"
#include "feed/ElementTypes.h"

using namespace pis::feed;

namespace {

/// The number, shifted; what is no number stays as it is.
std::string shiftedNumber(std::string_view text, int shift) {
    const std::optional<int> number = pis::base::numberIn<int>(text);
    return number ? std::to_string(*number + shift) : std::string(text);
}

std::string shiftedList(std::string_view list, int shift) {
    std::string shifted;
    while (true) {
        const std::size_t end = std::min(list.find('!'), list.size());
        shifted += shiftedNumber(list.substr(0, end), shift);
        if (end == list.size()) return shifted;
        shifted += '!';
        list.remove_prefix(end + 1);
    }
}

std::string shiftedField(const FieldType& type, const char* text, int shift) {
    switch (type.kind) {
        case FieldType::NUMBER_OF:
            return type.zeroMeansNone && std::string_view(text) == "0" ? text : shiftedNumber(text, shift);
        case FieldType::LIST_OF: return shiftedList(text, shift);
        default: return text;
    }
}

/// The type of an element that each copy of the railway has, or null.
const ElementType* typeInTable(const FeedRecord& record) {
    if (record.kind != FeedRecord::UPDATE && record.kind != FeedRecord::DELETION) return nullptr;
    if (record.id == 0) return nullptr;
    const ElementType* type = findElementType(record.type);
    if (type == nullptr) return nullptr;
    const ElementType* table = findElementType(type->table);
    return table->hasTable() ? type : nullptr;
}

FeedRecord shifted(const FeedRecord& record, const ElementType& type, int shift) {
    FeedRecord copy = record;
    copy.id += shift;
    copy.fields.clear();
    for (std::size_t i = 0; i < record.fields.size(); ++i) {
        const char* text = record.fields[i];
        if (text == nullptr) {
            copy.fields.appendMissing();
        } else if (i < type.fields.size()) {
            copy.fields.append(shiftedField(type.fields[i], text, shift));
        } else {
            copy.fields.append(text);
        }
    }
    return copy;
}

/// A round number that no id of the day reaches, so that copies are told apart at a glance.
int shiftBetweenCopies(const std::vector<FeedRecord>& day) {
    int shift = 10;
    for (const FeedRecord& record : day) {
        while (shift <= record.id) shift *= 10;
    }
    return shift;
}

}  // namespace

std::vector<FeedRecord> multiplied(const std::vector<FeedRecord>& day, int copies) {
    const int shift = shiftBetweenCopies(day);
    std::vector<FeedRecord> all;
    for (const FeedRecord& record : day) {
        const ElementType* type = typeInTable(record);
        if (type == nullptr) {
            all.push_back(record);
            continue;
        }
        for (int copy = 0; copy < copies; ++copy) all.push_back(shifted(record, *type, copy * shift));
    }
    return all;
}
