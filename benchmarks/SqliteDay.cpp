#include <sqlite3.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "Day.h"
#include "feed/ElementTypes.h"
#include "feed/HostFieldList.h"

using namespace pis::feed;

namespace {

constexpr int kRecordsInTransaction = 100;

struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;

bool isNumber(const FieldType& field) {
    return field.kind == FieldType::INTEGER || field.kind == FieldType::NUMBER_OF;
}

/// The store's tables as tables of a database in memory, a column for each field that the store uses.
class Database {
public:
    Database() {
        sqlite3* opened = nullptr;
        constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
        const int code = sqlite3_open_v2(":memory:", &opened, kFlags, nullptr);
        _database.reset(opened);
        check(code);
        for (const char* mode : {"journal_mode = OFF", "synchronous = OFF", "locking_mode = EXCLUSIVE"}) {
            run(std::string("PRAGMA ") + mode);
        }
        for (const ElementType& type : elementTypes()) {
            if (type.hasTable()) createTable(type);
        }
        for (const ElementType& type : elementTypes()) {
            if (findElementType(type.table)->hasTable()) prepareUpsert(type);
        }
        _begin = prepare("BEGIN");
        _commit = prepare("COMMIT");
    }

    void begin() { step(_begin); }
    void commit() { step(_commit); }

    void upsert(const ElementType& type, int id, const KEBlist& list) {
        const Statement& upsert = of(_upserts, type.code);
        if (upsert == nullptr) return;
        sqlite3_bind_int(upsert.get(), 1, id);
        int parameter = 2;
        const KEBnode* node = list.listTop;
        for (const FieldType& field : type.fields) {
            const char* text = node != nullptr ? *static_cast<const char* const*>(node->dataPtr) : nullptr;
            if (node != nullptr) node = node->nextNode;
            if (field.kind == FieldType::NOT_USED) continue;
            if (text == nullptr) {
                sqlite3_bind_null(upsert.get(), parameter++);
            } else if (isNumber(field)) {
                sqlite3_bind_int(upsert.get(), parameter++, std::atoi(text));
            } else {
                sqlite3_bind_text(upsert.get(), parameter++, text, static_cast<int>(std::strlen(text)), SQLITE_STATIC);
            }
        }
        step(upsert);
    }

    void remove(int type, int id) {
        for (const ElementType& each : elementTypes()) {
            if (!each.hasTable() || (type != SignallingCodes::ALL_ELEMENTS && type != each.code)) continue;
            const Statement& deletion = of(id == 0 ? _clearances : _deletions, each.code);
            if (id != 0) sqlite3_bind_int(deletion.get(), 1, id);
            step(deletion);
        }
    }

private:
    using Statements = std::array<Statement, 128>;  // by type

    static Statement& of(Statements& statements, int type) { return statements.at(static_cast<std::size_t>(type)); }
    static std::string tableOf(int type) { return "elements_" + std::to_string(type); }
    static std::string columnOf(const ElementType& type, std::size_t field) {
        return "field_" + std::to_string(type.code) + "_" + std::to_string(field + 1);
    }

    /// Columns for the fields of this type and of those that go into its table, and how elements are deleted.
    void createTable(const ElementType& table) {
        std::string columns = "id INTEGER PRIMARY KEY";
        for (const ElementType& type : elementTypes()) {
            for (std::size_t i = 0; i < type.fields.size(); ++i) {
                if (type.table != table.code || type.fields[i].kind == FieldType::NOT_USED) continue;
                columns += ", " + columnOf(type, i) + (isNumber(type.fields[i]) ? " INTEGER" : " TEXT");
            }
        }
        run("CREATE TABLE " + tableOf(table.code) + " (" + columns + ")");
        of(_deletions, table.code) = prepare("DELETE FROM " + tableOf(table.code) + " WHERE id = ?1");
        of(_clearances, table.code) = prepare("DELETE FROM " + tableOf(table.code));
    }

    void prepareUpsert(const ElementType& type) {
        std::string columns = "id";
        std::string values = "?";
        std::string changes;
        for (std::size_t i = 0; i < type.fields.size(); ++i) {
            if (type.fields[i].kind == FieldType::NOT_USED) continue;
            const std::string column = columnOf(type, i);
            columns += ", " + column;
            values += ", ?";
            changes += (changes.empty() ? "" : ", ") + column + " = excluded." + column;
        }
        of(_upserts, type.code) = prepare("INSERT INTO " + tableOf(type.table) + " (" + columns + ") VALUES (" +
                                          values + ") ON CONFLICT (id) DO UPDATE SET " + changes);
    }

    Statement prepare(const std::string& text) {
        sqlite3_stmt* prepared = nullptr;
        check(sqlite3_prepare_v3(_database.get(), text.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr));
        return Statement(prepared);
    }
    void run(const std::string& text) { check(sqlite3_exec(_database.get(), text.c_str(), nullptr, nullptr, nullptr)); }
    void step(const Statement& prepared) {
        if (sqlite3_step(prepared.get()) != SQLITE_DONE) check(SQLITE_ERROR);
        sqlite3_reset(prepared.get());
    }
    void check(int code) {
        if (code != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(_database.get()));
    }

    struct Closer {
        void operator()(sqlite3* database) const { sqlite3_close(database); }
    };
    std::unique_ptr<sqlite3, Closer> _database;
    Statements _upserts;
    Statements _deletions;
    Statements _clearances;
    Statement _begin;
    Statement _commit;
};

void deliver(const Day& day, Database& database) {
    HostFieldList list;
    int inTransaction = 0;
    for (const FeedRecord& record : day.records) {
        if (inTransaction == 0) database.begin();
        if (record.kind == FeedRecord::UPDATE) {
            const KEBlist* fields = list.of(record.fields);
            const ElementType* type = findElementType(record.type);
            if (type != nullptr) database.upsert(*type, record.id, *fields);
        } else {
            database.remove(record.type, record.id);
        }
        if (++inTransaction == kRecordsInTransaction) {
            database.commit();
            inTransaction = 0;
        }
    }
    if (inTransaction > 0) database.commit();
}

}  // namespace

Body sqliteDay(const Day& day) {
    const auto database = std::make_shared<std::unique_ptr<Database>>();
    return {"sqlite/" + day.name, [database, &day] { deliver(day, **database); },
            [database] { *database = std::make_unique<Database>(); }};
}
