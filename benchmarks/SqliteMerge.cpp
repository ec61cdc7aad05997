// The same merge in a database of records by identity. Usage:
//   sqlite-merge make VAULT DATABASE        the vault's records and deletions as a database
//   sqlite-merge merge FIRST SECOND         merges two databases into both, durably, one transaction each
//   sqlite-merge merge-by-keys FIRST SECOND
//                                           the same, but by identities in the indexes: reads only what is new
//   sqlite-merge verify DATABASE VAULT      whether both hold the same records, byte by byte

#include "VaultBytes.h"
#include "WholeFile.h"

#include <sqlite3.h>

#include <cstdio>
#include <exception>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

class Database {
public:
    explicit Database(const std::string& path)
    {
        if (sqlite3_open(path.c_str(), &handle) != SQLITE_OK)
            fail();
    }
    ~Database() { sqlite3_close(handle); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void execute(const std::string& statements)
    {
        if (sqlite3_exec(handle, statements.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
            fail();
    }

    [[noreturn]] void fail() const { throw std::runtime_error(sqlite3_errmsg(handle)); }

    sqlite3* handle = nullptr;
};

class Statement {
public:
    Statement(Database& database, const char* text)
        : database(database)
    {
        if (sqlite3_prepare_v2(database.handle, text, -1, &handle, nullptr) != SQLITE_OK)
            database.fail();
    }
    ~Statement() { sqlite3_finalize(handle); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// `bytes` must live until the next `insert` or the end.
    void bind(int place, std::string_view bytes)
    {
        if (sqlite3_bind_blob64(handle, place, bytes.data(), bytes.size(), SQLITE_STATIC) != SQLITE_OK)
            database.fail();
    }

    void insert()
    {
        if (sqlite3_step(handle) != SQLITE_DONE)
            database.fail();
        sqlite3_reset(handle);
    }

    /// True with a row to read columns of.
    bool next()
    {
        const int result = sqlite3_step(handle);
        if (result != SQLITE_ROW && result != SQLITE_DONE)
            database.fail();
        return result == SQLITE_ROW;
    }

    std::string column(int place)
    {
        const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(handle, place));
        return { bytes, static_cast<std::size_t>(sqlite3_column_bytes(handle, place)) };
    }

private:
    Database& database;
    sqlite3_stmt* handle = nullptr;
};

/// The 16 bytes that a UUID's text stands for: the smaller key, and so the faster one.
std::string key(std::string_view uuid)
{
    std::string result;
    unsigned int value = 0;
    int digits = 0;
    for (const char c : uuid) {
        if (c == '-')
            continue;
        value = value * 16 + static_cast<unsigned int>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
        if (++digits % 2 == 0) {
            result += static_cast<char>(value);
            value = 0;
        }
    }
    return result;
}

void make(const std::string& vaultPath, const std::string& databasePath)
{
    const WholeFile vault(vaultPath);
    Database database(databasePath);
    database.execute("PRAGMA synchronous = OFF;"
                     "CREATE TABLE record(uuid BLOB PRIMARY KEY, block BLOB NOT NULL);"
                     "CREATE TABLE deletion(uuid BLOB PRIMARY KEY) WITHOUT ROWID;"
                     "BEGIN");
    {
        Statement record(database, "INSERT INTO record VALUES(?, ?)");
        Statement deletion(database, "INSERT OR IGNORE INTO deletion VALUES(?)");
        VaultBytes(vault.view())
            .walk(
                [&](std::string_view uuid) {
                    const std::string bytes = key(uuid);
                    deletion.bind(1, bytes);
                    deletion.insert();
                },
                [&](std::string_view uuid, std::string_view block) {
                    const std::string bytes = key(uuid);
                    record.bind(1, bytes);
                    record.bind(2, block);
                    record.insert();
                });
    }
    database.execute("COMMIT");
}

/// The statements with HERE and OTHER before a dot replaced by the names of attached databases.
std::string named(std::string statements, const std::string& to, const std::string& from)
{
    const auto replace = [&](const std::string& what, const std::string& by) {
        for (std::size_t at = 0; (at = statements.find(what, at)) != std::string::npos; at += by.size())
            statements.replace(at, what.size(), by);
    };
    replace("HERE.", to + ".");
    replace("OTHER.", from + ".");
    return statements;
}

/// Brings what `from` has into `to`, both names of attached databases. A record that is listed as deleted goes where
/// the other has none of it.
void mergeInto(Database& database, const std::string& to, const std::string& from, bool byKeys)
{
    constexpr std::string_view kBegin = R"(
        BEGIN IMMEDIATE;
        INSERT OR IGNORE INTO HERE.deletion SELECT uuid FROM OTHER.deletion;
        DELETE FROM HERE.record WHERE uuid IN (SELECT uuid FROM HERE.deletion)
            AND NOT EXISTS (SELECT 1 FROM OTHER.record AS r WHERE r.uuid = HERE.record.uuid);)";
    constexpr std::string_view kInsert = R"(
        DELETE FROM temp.gone;
        INSERT INTO temp.gone SELECT uuid FROM HERE.deletion AS d
            WHERE EXISTS (SELECT 1 FROM OTHER.record AS r WHERE r.uuid = d.uuid)
            AND NOT EXISTS (SELECT 1 FROM HERE.record AS r WHERE r.uuid = d.uuid);
        INSERT OR IGNORE INTO HERE.record SELECT uuid, block FROM OTHER.record
            WHERE uuid NOT IN (SELECT uuid FROM temp.gone);
        COMMIT)";
    constexpr std::string_view kInsertByKeys = R"(
        INSERT INTO HERE.record SELECT uuid, block FROM OTHER.record WHERE rowid IN
            (SELECT rowid FROM OTHER.record AS r
            WHERE NOT EXISTS (SELECT 1 FROM HERE.record AS h WHERE h.uuid = r.uuid)
            AND uuid NOT IN (SELECT uuid FROM HERE.deletion));
        COMMIT)";
    database.execute(named(std::string(kBegin).append(byKeys ? kInsertByKeys : kInsert), to, from));
}

void merge(const std::string& firstPath, const std::string& secondPath, bool byKeys)
{
    Database database(firstPath);
    Statement attach(database, "ATTACH ? AS second");
    attach.bind(1, secondPath);
    attach.insert();
    database.execute("PRAGMA main.synchronous = FULL; PRAGMA second.synchronous = FULL; PRAGMA temp_store = MEMORY;"
                     "PRAGMA main.cache_size = -524288; PRAGMA second.cache_size = -524288;"
                     "CREATE TEMP TABLE gone(uuid BLOB PRIMARY KEY) WITHOUT ROWID");
    mergeInto(database, "main", "second", byKeys);
    mergeInto(database, "second", "main", byKeys);
}

bool verify(const std::string& databasePath, const std::string& vaultPath)
{
    std::set<std::pair<std::string, std::string>> inVault;
    const WholeFile vault(vaultPath);
    VaultBytes(vault.view())
        .walk([](std::string_view) {},
            [&](std::string_view uuid, std::string_view block) { inVault.emplace(key(uuid), block); });
    std::set<std::pair<std::string, std::string>> inDatabase;
    Database database(databasePath);
    Statement records(database, "SELECT uuid, block FROM record");
    while (records.next())
        inDatabase.emplace(records.column(0), records.column(1));
    if (inVault != inDatabase)
        std::fprintf(stderr, "sqlite-merge: %zu records in the vault, %zu in the database, and not the same\n",
            inVault.size(), inDatabase.size());
    return inVault == inDatabase;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string operation = argc == 4 ? argv[1] : "";
    try {
        if (operation == "make")
            make(argv[2], argv[3]);
        else if (operation == "merge" || operation == "merge-by-keys")
            merge(argv[2], argv[3], operation == "merge-by-keys");
        else if (operation == "verify")
            return verify(argv[2], argv[3]) ? 0 : 1;
        else {
            std::fputs("usage: sqlite-merge make|merge|merge-by-keys|verify ONE OTHER\n", stderr);
            return 2;
        }
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "sqlite-merge: %s\n", failure.what());
        return 1;
    }
}
