// Plays the database's command-line tool: damisql -d vorna_db -q STATEMENT [-xall:ff] runs one
// statement and prints what the real tool prints: banner, prompt, result, closing count, messages.
// Not played: the interactive prompt, users and rights, the network, what -xall:ff traces.
//
// The database is SQLite in the file vorna_db.sqlite in the directory of the path by which the tool
// is called; the first call fills it from catalogue.sql there.
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <strings.h>

namespace {

constexpr int kBusyMilliseconds = 20000; // as long as a statement waits for those of others
constexpr char kBanner[] = "DAMISQL interactive SQL, database ";

struct s_ARGUMENTS {
    std::string database;
    std::string statement;
};

using Database = std::unique_ptr<sqlite3, decltype(&sqlite3_close)>;
using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

bool read_arguments(int argc, char **argv, s_ARGUMENTS *arguments) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        if (option.substr(0, 2) == "-x") {
            continue;
        }
        if ((option != "-d" && option != "-q") || i + 1 == argc) {
            return false;
        }
        (option == "-d" ? arguments->database : arguments->statement) = argv[++i];
    }
    return !arguments->database.empty() && !arguments->statement.empty();
}

// The database could not be opened: the first line tells, and there is no prompt.
int report_open(const std::string &reason) {
    std::printf("DAMISQL Error: %s\n", reason.c_str());
    return 1;
}

bool is_filled(sqlite3 *database) {
    sqlite3_stmt *raw = nullptr;
    sqlite3_prepare_v2(database, "pragma user_version", -1, &raw, nullptr);
    const Statement query(raw, sqlite3_finalize);
    return sqlite3_step(query.get()) == SQLITE_ROW && sqlite3_column_int(query.get(), 0) != 0;
}

bool execute(sqlite3 *database, const std::string &sql) {
    return sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

// Fills a new database; of several first users at once one does. Returns the reason of a failure,
// empty when there is none.
std::string fill(sqlite3 *database, const std::string &source) {
    std::ifstream file(source, std::ios::binary);
    const std::string sql{std::istreambuf_iterator<char>(file), {}};
    if (sql.empty()) {
        return source + ": " + std::strerror(errno);
    }
    if (!execute(database, "begin immediate")) {
        return sqlite3_errmsg(database);
    }
    if ((!is_filled(database) && !execute(database, sql + "; pragma user_version = 1")) ||
        !execute(database, "commit")) {
        return sqlite3_errmsg(database);
    }
    return "";
}

// Opens the database beside the program. Returns the reason of a failure, as fill does.
std::string open_catalogue(std::string_view program, const std::string &name, Database *database) {
    if (name != "vorna_db") {
        return "unknown database " + name;
    }
    const std::string directory(program.substr(0, program.rfind('/') + 1)); // "" without "/"
    sqlite3 *raw = nullptr;
    const int iResult = sqlite3_open((directory + name + ".sqlite").c_str(), &raw);
    database->reset(raw);
    if (iResult != SQLITE_OK) {
        return sqlite3_errmsg(raw);
    }
    sqlite3_busy_timeout(raw, kBusyMilliseconds);
    if (!is_filled(raw)) {
        return fill(raw, directory + "catalogue.sql");
    }
    return "";
}

bool begins_with_word(const std::string &statement, const char *word) {
    const std::size_t begin = statement.find_first_not_of(" \t\r\n(");
    return begin != std::string::npos &&
           ::strncasecmp(statement.c_str() + begin, word, std::strlen(word)) == 0;
}

void print_prompt(std::string statement) {
    for (char &letter : statement) {
        letter = letter == '\n' || letter == '\r' ? ' ' : letter;
    }
    std::printf("SQL-1> %s\n", statement.c_str());
}

int report_message(sqlite3 *database) {
    std::printf("Message: %s\n", sqlite3_errmsg(database));
    return 1;
}

void print_row(sqlite3_stmt *query) {
    for (int i = 0; i < sqlite3_column_count(query); ++i) {
        if (const void *value = sqlite3_column_text(query, i)) {
            std::fwrite(value, 1, static_cast<std::size_t>(sqlite3_column_bytes(query, i)), stdout);
        }
        std::putchar('\t');
    }
    std::putchar('\n');
}

int print_rows(sqlite3 *database, sqlite3_stmt *query) {
    std::putchar('\n');
    for (int i = 0; i < sqlite3_column_count(query); ++i) {
        std::printf("%s\t", sqlite3_column_name(query, i));
    }
    std::putchar('\n');
    long lRows = 0;
    int iResult = SQLITE_DONE;
    for (; (iResult = sqlite3_step(query)) == SQLITE_ROW; ++lRows) {
        print_row(query);
    }
    if (iResult != SQLITE_DONE) {
        std::printf("State = S1000, NativeError = %d\n", iResult);
        return report_message(database);
    }
    std::printf("Rows selected = %ld\n", lRows);
    return 0;
}

int print_change(sqlite3 *database, const std::string &statement, sqlite3_stmt *change) {
    if (sqlite3_step(change) != SQLITE_DONE) {
        return report_message(database);
    }
    for (const char *word : {"insert", "update", "delete"}) {
        if (begins_with_word(statement, word)) {
            std::printf("Rows affected = %d\n", sqlite3_changes(database));
        }
    }
    return 0;
}

// Runs the statement and prints its result. Returns 0, or 1 when the database refuses it.
int run(sqlite3 *database, const std::string &statement) {
    sqlite3_stmt *raw = nullptr;
    const char *rest = nullptr;
    const int iResult = sqlite3_prepare_v2(database, statement.c_str(), -1, &raw, &rest);
    const Statement prepared(raw, sqlite3_finalize);
    if (iResult != SQLITE_OK || raw == nullptr || rest[std::strspn(rest, "; \t\r\n")] != '\0') {
        if (begins_with_word(statement, "select")) {
            std::puts("Error while preparing statement");
        }
        if (iResult == SQLITE_OK) {
            std::puts("Message: not one statement");
            return 1;
        }
        return report_message(database);
    }
    return sqlite3_column_count(raw) > 0 ? print_rows(database, raw)
                                         : print_change(database, statement, raw);
}

} // namespace

int main(int argc, char **argv) {
    s_ARGUMENTS arguments;
    if (!read_arguments(argc, argv, &arguments)) {
        std::fputs("usage: damisql -d DATABASE -q STATEMENT [-xall:ff]\n", stderr);
        return 2;
    }
    Database database(nullptr, sqlite3_close);
    const std::string reason = open_catalogue(argv[0], arguments.database, &database);
    if (!reason.empty()) {
        return report_open(reason);
    }
    std::printf("%s%s\n", kBanner, arguments.database.c_str());
    print_prompt(arguments.statement);
    const auto begin = std::chrono::steady_clock::now();
    const int iResult = run(database.get(), arguments.statement);
    if (iResult == 0) {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
        std::printf("Elapsed time %.3f seconds\n", elapsed.count());
    }
    return iResult;
}
