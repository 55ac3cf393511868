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

/// The store's tables as tables of a database in memory, a column for each field that the store uses.
class Database {
public:
    Database() {
        check(sqlite3_open_v2(":memory:", &_database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                              nullptr));
        run("PRAGMA journal_mode = OFF");
        run("PRAGMA synchronous = OFF");
        run("PRAGMA locking_mode = EXCLUSIVE");
        for (const ElementType& type : elementTypes()) {
            if (type.hasTable()) createTable(type);
        }
        for (const ElementType& type : elementTypes()) {
            if (findElementType(type.table)->hasTable()) prepareUpsert(type);
            if (type.hasTable()) {
                statement(_deletions, type.code) = prepare("DELETE FROM " + tableOf(type.code) + " WHERE id = ?1");
                statement(_clearances, type.code) = prepare("DELETE FROM " + tableOf(type.code));
            }
        }
        _begin = prepare("BEGIN");
        _commit = prepare("COMMIT");
    }
    ~Database() {
        for (auto* statements : {&_upserts, &_deletions, &_clearances}) {
            for (sqlite3_stmt* each : *statements) sqlite3_finalize(each);
        }
        sqlite3_finalize(_begin);
        sqlite3_finalize(_commit);
        sqlite3_close(_database);
    }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void begin() { step(_begin); }
    void commit() { step(_commit); }

    void upsert(const ElementType& type, int id, const KEBlist& list) {
        sqlite3_stmt* upsert = statement(_upserts, type.code);
        if (upsert == nullptr) return;
        sqlite3_bind_int(upsert, 1, id);
        int parameter = 2;
        const KEBnode* node = list.listTop;
        for (const FieldType& field : type.fields) {
            const char* text = node != nullptr ? *static_cast<const char* const*>(node->dataPtr) : nullptr;
            if (node != nullptr) node = node->nextNode;
            if (field.kind == FieldType::NOT_USED) continue;
            if (text == nullptr) {
                sqlite3_bind_null(upsert, parameter++);
            } else if (isNumber(field)) {
                sqlite3_bind_int(upsert, parameter++, std::atoi(text));
            } else {
                sqlite3_bind_text(upsert, parameter++, text, static_cast<int>(std::strlen(text)), SQLITE_STATIC);
            }
        }
        step(upsert);
    }

    void remove(int type, int id) {
        for (const ElementType& each : elementTypes()) {
            if (!each.hasTable() || (type != SignallingCodes::ALL_ELEMENTS && type != each.code)) continue;
            sqlite3_stmt* deletion = statement(id == 0 ? _clearances : _deletions, each.code);
            if (id != 0) sqlite3_bind_int(deletion, 1, id);
            step(deletion);
        }
    }

private:
    using Statements = std::array<sqlite3_stmt*, 128>;

    static sqlite3_stmt*& statement(Statements& statements, int type) {
        return statements.at(static_cast<std::size_t>(type));
    }
    static bool isNumber(const FieldType& field) {
        return field.kind == FieldType::INTEGER || field.kind == FieldType::NUMBER_OF;
    }
    static std::string tableOf(int type) { return "elements_" + std::to_string(type); }
    static std::string columnOf(const ElementType& type, std::size_t field) {
        return "field_" + std::to_string(type.code) + "_" + std::to_string(field + 1);
    }

    /// Columns for the fields of this type and of those that go into its table.
    void createTable(const ElementType& table) {
        std::string columns = "id INTEGER PRIMARY KEY";
        for (const ElementType& type : elementTypes()) {
            if (type.table != table.code) continue;
            for (std::size_t i = 0; i < type.fields.size(); ++i) {
                if (type.fields[i].kind == FieldType::NOT_USED) continue;
                columns += ", " + columnOf(type, i) + (isNumber(type.fields[i]) ? " INTEGER" : " TEXT");
            }
        }
        run("CREATE TABLE " + tableOf(table.code) + " (" + columns + ")");
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
        statement(_upserts, type.code) = prepare("INSERT INTO " + tableOf(type.table) + " (" + columns + ") VALUES (" +
                                                 values + ") ON CONFLICT (id) DO UPDATE SET " + changes);
    }

    sqlite3_stmt* prepare(const std::string& text) {
        sqlite3_stmt* prepared = nullptr;
        check(sqlite3_prepare_v3(_database, text.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr));
        return prepared;
    }
    void run(const std::string& text) { check(sqlite3_exec(_database, text.c_str(), nullptr, nullptr, nullptr)); }
    void step(sqlite3_stmt* prepared) {
        if (sqlite3_step(prepared) != SQLITE_DONE) check(SQLITE_ERROR);
        sqlite3_reset(prepared);
    }
    void check(int code) {
        if (code != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(_database));
    }

    sqlite3* _database = nullptr;
    Statements _upserts{};
    Statements _deletions{};
    Statements _clearances{};
    sqlite3_stmt* _begin = nullptr;
    sqlite3_stmt* _commit = nullptr;
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
