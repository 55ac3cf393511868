#include "check/FeedCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/Numbers.h"
#include "base/Output.h"
#include "feed/ElementTypes.h"
#include "feed/FeedReader.h"
#include "feed/Intake.h"

namespace pis::check {

using namespace SignallingCodes;

namespace {

/// A whole number of 32 bits as the store reads it, leading white space and a plus sign included; nothing where
/// something else stands in the text, too.
std::optional<int> numberAsRead(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    if (text.size() > 1 && text.front() == '+' && text[1] != '-') text.remove_prefix(1);
    return base::numberIn<int>(text);
}

std::vector<std::string> itemsOf(const std::string& list) {
    std::vector<std::string> items;
    std::size_t begin = 0;
    while (true) {
        const std::size_t end = list.find('!', begin);
        items.push_back(list.substr(begin, end - begin));
        if (end == std::string::npos) return items;
        begin = end + 1;
    }
}

const char* elementName(int type) {
    const feed::ElementType* known = feed::findElementType(type);
    return known != nullptr ? known->name : "element";
}

/// Ids that records name, and whether the feed brings the elements, sooner or later.
class References {
public:
    void define(int type, int id) {
        _defined.insert({type, id});
        _open.erase({type, id});
    }

    /// @param by says where and in what the id stands; asked only for the first mention of an id that
    ///           names nothing so far.
    template <typename By>
    void refer(int type, int id, const By& by) {
        if (_defined.count({type, id}) != 0) return;
        Mention& mention = _open[{type, id}];
        if (mention.times++ == 0) {
            mention.first = by();
            mention.order = _order++;
        }
    }

    /// A sentence for each id that names nothing, in the order of their first mention.
    std::vector<std::string> namingNothing() const {
        std::map<std::size_t, std::string> sentences;
        for (const auto& [what, mention] : _open) {
            std::string sentence =
                fmt::format("{}: {} {} is not in the feed", mention.first, elementName(what.first), what.second);
            if (mention.times > 1) sentence += fmt::format(" (named {} times)", base::grouped(mention.times));
            sentences[mention.order] = sentence;
        }
        std::vector<std::string> inOrder;
        inOrder.reserve(sentences.size());
        for (auto& [order, sentence] : sentences) inOrder.push_back(std::move(sentence));
        return inOrder;
    }

private:
    struct Mention {
        std::string first;
        std::size_t order = 0;
        std::uint64_t times = 0;
    };

    std::set<std::pair<int, int>> _defined;
    std::map<std::pair<int, int>, Mention> _open;
    std::size_t _order = 0;
};

/// A field of a record, put into words only when there is something to say about it: most fields are
/// all right.
struct FieldOfRecord {
    const feed::ElementType& type;
    int id;
    std::size_t position;  // from 0

    const feed::FieldType& field() const { return type.fields[position]; }
    std::string words() const { return fmt::format("{} {}: field {} ({})", type.name, id, position + 1, field().name); }
};

class FeedCheck {
public:
    /// False when the file cannot be read to its end.
    bool read(const std::string& file) {
        feed::FeedRecord record;
        try {
            feed::FeedReader reader(file);
            while (true) {
                switch (reader.next(record)) {
                    case feed::FeedReader::Next::END: return true;
                    case feed::FeedReader::Next::UNREADABLE: base::reportFault(reader.fault()); return false;
                    case feed::FeedReader::Next::MALFORMED: find(reader.fault()); break;
                    case feed::FeedReader::Next::RECORD:
                        ++_records;
                        _place = reader.place();
                        look(record);
                        break;
                }
            }
        } catch (const std::runtime_error& error) {
            base::reportFault(error.what());
            return false;
        }
    }

    /// Reports what shows only at the end of the feed. True when nothing was found at all.
    bool finish() {
        if (_intake.inSnapshot()) find(_snapshotBegin + ": the snapshot that begins here does not end");
        for (const std::string& sentence : _references.namingNothing()) find(sentence);
        base::printLine(base::counted(_records, "record") + ", " +
                        (_findings == 0 ? std::string("no findings") : base::counted(_findings, "finding")));
        return _findings == 0;
    }

private:
    /// What the store would make of a record is the intake's to say.
    void look(const feed::FeedRecord& record) {
        const feed::Intake::Verdict verdict = _intake.accept(record);
        if (!verdict.reason.empty()) findHere(verdict.reason);
        const bool counts = verdict.outcome == feed::Outcome::DELIVERED;
        switch (record.kind) {
            case feed::FeedRecord::UPDATE: lookAtUpdate(record, counts); break;
            case feed::FeedRecord::DELETION:
                if (counts) lookAtDeletion(record);
                break;
            case feed::FeedRecord::SNAPSHOT_BEGIN: _snapshotBegin = _place; break;
            case feed::FeedRecord::SNAPSHOT_END: break;
        }
    }

    /// @param counts whether the record is about an element.
    void lookAtUpdate(const feed::FeedRecord& record, bool counts) {
        const feed::ElementType* type = feed::findElementType(record.type);
        if (type == nullptr) return;
        if (counts && type->hasTable()) {
            _references.define(type->code, record.id);
        } else if (counts && !type->isStatus()) {
            _references.refer(type->table, record.id, [&] { return fmt::format("{}: {}", _place, type->name); });
        }
        lookAtFields(*type, record);
    }

    void lookAtFields(const feed::ElementType& type, const feed::FeedRecord& record) {
        const feed::FieldTexts& texts = record.fields;
        if (texts.size() == 0) return;  // an element with nothing but its defaults
        for (std::size_t i = 0; i < type.fields.size(); ++i) {
            const FieldOfRecord what{type, record.id, i};
            if (what.field().kind == feed::FieldType::NOT_USED) continue;
            if (i >= texts.size()) {
                findIn(what, " is missing: the default is used");
            } else {
                lookAtField(what, texts[i]);
            }
        }
        if (texts.size() > type.fields.size()) {
            findHere(fmt::format("{} {}: {} fields, of which {} are read", type.name, record.id, texts.size(),
                                 type.fields.size()));
        }
    }

    void lookAtField(const FieldOfRecord& what, const char* text) {
        const feed::FieldType::Kind kind = what.field().kind;
        if (text == nullptr) return findIn(what, " is null: the default is used");
        if (std::strcmp(text, "(null)") == 0) return findIn(what, " is \"(null)\": the default is used");
        if (text[0] == '\0') {
            if (kind != feed::FieldType::LIST_OF) findIn(what, " is empty: the default is used");
            return;
        }
        switch (kind) {
            case feed::FieldType::TEXT:
            case feed::FieldType::NOT_USED: break;
            case feed::FieldType::FLAG: lookAtFlag(what, text); break;
            case feed::FieldType::INTEGER:
                if (!numberAsRead(text)) findIn(what, " is " + base::quoted(text) + ", not a number of 32 bits");
                break;
            case feed::FieldType::NUMBER_OF: lookAtId(what, text); break;
            case feed::FieldType::LIST_OF:
                for (const std::string& item : itemsOf(text)) lookAtId(what, item.c_str());
                break;
        }
    }

    /// Only an upper-case Y means yes; texts that look like a yes are worth a word.
    void lookAtFlag(const FieldOfRecord& what, const char* text) {
        if (std::strchr("y1tT", text[0]) != nullptr) {
            findIn(what, " is " + base::quoted(text) + ", which reads as no: only a Y at its front means yes");
        }
    }

    void lookAtId(const FieldOfRecord& what, const char* text) {
        const std::optional<int> number = numberAsRead(text);
        if (!number) return findIn(what, " holds " + base::quoted(text) + ", not a number of 32 bits");
        const int id = *number;
        if (id == 0 && what.field().zeroMeansNone) return;
        _references.refer(what.field().refersTo, id, [&] { return _place + ": " + what.words(); });
    }

    void lookAtDeletion(const feed::FeedRecord& record) {
        if (record.id == 0 || record.type == ALL_ELEMENTS) return;
        _references.refer(record.type, record.id, [this] { return _place + ": deletion"; });
    }

    void findIn(const FieldOfRecord& what, const std::string& fault) { findHere(what.words() + fault); }

    void findHere(const std::string& what) { find(_place + ": " + what); }

    void find(const std::string& sentence) {
        ++_findings;
        base::printLine(base::onOneLine(sentence));
    }

    References _references;
    std::string _place;
    std::string _snapshotBegin;  // the latest one
    feed::Intake _intake{nullptr};
    std::uint64_t _records = 0;
    std::uint64_t _findings = 0;
};

}  // namespace

base::ExitStatus checkFeed(const std::vector<std::string>& files) {
    FeedCheck check;
    for (const std::string& file : files) {
        if (!check.read(file)) return base::FAILED;
    }
    return check.finish() ? base::DONE : base::FINDINGS;
}

}  // namespace pis::check
