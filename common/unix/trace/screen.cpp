// Standard error, see screen.h. What others write there by themselves are whole lines.
#include "common/unix/trace/screen.h"

#include "common/unix/files/append.h"

#include <unistd.h>

namespace {

bool bLineOpen = false;

} // namespace

void write_screen(std::string_view text) {
    write_all(STDERR_FILENO, text);
    if (!text.empty()) {
        bLineOpen = text.back() != '\n';
    }
}

const char *screen_line_end() {
    return bLineOpen ? "\n" : "";
}
