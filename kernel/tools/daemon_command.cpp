// Quoting for control daemons, see daemon_command.h. Their quoting is not the shell's, and has no
// form for everything: the result is converted back and compared.
#include "kernel/tools/daemon_command.h"

#include "control/convert.h"

bool daemon_command(const std::vector<std::string> &words, std::string *command) {
    std::string expected;
    command->clear();
    for (const std::string &word : words) {
        const bool bBare = word.find_first_of(" '\\") == std::string::npos;
        *command += (command->empty() ? "" : " ") + (bBare ? word : '"' + word + '"');
        expected += (expected.empty() ? "" : "\"") + word;
    }
    std::vector<char> converted(2 * command->size() + 2);
    str_log silent = {};
    bool bQuote = false;
    for (const std::string &word : words) {
        bQuote = bQuote || word.find('"') != std::string::npos;
    }
    return !bQuote && !words.empty() &&
           vConvertCommand(command->c_str(), converted.data(), static_cast<int>(converted.size()),
                           &silent) &&
           expected == converted.data();
}
