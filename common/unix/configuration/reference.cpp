// References in names, see reference.h. There is one resolver; the in-place functions only bring
// its result into their callers' buffers.
#include "common/unix/configuration/reference.h"

#include "common/common/cm_message.h"
#include "common/common/owner.h"
#include "common/common/text.h"
#include "common/common/types.h"
#include "common/unix/configuration/glbv.h"
#include "common/unix/configuration/ini.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace {

// A longer name is no variable's: with its ending it would be no file's.
constexpr std::size_t kVariableLength = 255 - sizeof ".sgv" + 1;
constexpr std::size_t kPathLength = 1023; // characters of a value that resolve_path keeps
constexpr std::size_t kRestLength = 511;  // characters of a rest that resolve_path keeps
constexpr int kValueSize = 4096;          // more than a system takes as a path

void look_up_variable(std::string name, s_REFERENCE *reference) {
    char szValue[GLBV_VALUE_SIZE];
    if (name.size() > kVariableLength || glbv('r', name.data(), szValue)[0] == '?') {
        return;
    }
    reference->bKnown = true;
    reference->value = szValue;
    // The store marks a value that it had to cut.
    reference->bWhole =
        reference->value.size() < GLBV_VALUE_SIZE - 1 || reference->value.back() != '>';
}

void look_up_path(const std::string &key, s_REFERENCE *reference) {
    char szValue[kValueSize];
    char szMsg[kMessageSize];
    if (i_READ_INI("VN_INI", "[Pathes]", key.c_str(), szValue, sizeof szValue, szMsg,
                   sizeof szMsg) != 1) {
        return;
    }
    reference->bKnown = true;
    reference->value = szValue;
    reference->bWhole = reference->value.size() < sizeof szValue - 1;
}

// A leading ":" belongs neither to the name nor to what ends it.
std::string variable_name(std::string_view text) {
    text.remove_prefix(!text.empty() && text.front() == ':' ? 1 : 0);
    return std::string(text_take_field(&text, ':'));
}

std::string text_of(const s_REFERENCE &reference) {
    return reference.value + reference.rest;
}

} // namespace

s_REFERENCE look_up_reference(std::string_view text, e_REFERENCE_STORE eStore) {
    s_REFERENCE reference;
    const std::size_t colon = std::min(text.find(':'), text.size());
    const bool bPath = !text.empty() && text.front() == '/';
    if (eStore != REFERENCE_PATHES && !bPath) {
        look_up_variable(variable_name(text), &reference);
    }
    if (eStore != REFERENCE_VARIABLE && !reference.bKnown && !bPath) {
        look_up_path(std::string(text.substr(0, colon)), &reference);
    }
    if (!reference.bKnown) {
        reference.value = text;
    } else if (colon < text.size()) {
        reference.rest = text.substr(colon + 1);
    }
    return reference;
}

bool resolve_whole(const char *cpName, char *szName, int iSize, e_REFERENCE_STORE eStore) {
    const s_REFERENCE reference = look_up_reference(cpName, eStore);
    return text_copy(szName, iSize, text_of(reference)) && reference.bWhole;
}

bool resolve_name(const char *cpName, char *szName, int iSize) {
    return resolve_whole(cpName, szName, iSize, REFERENCE_ANY);
}

int resolve_glbv(char *cpName, int size) {
    const auto iSize = static_cast<std::size_t>(size > 1 ? size : 1);
    const unique_memory<char> work(static_cast<char *>(std::malloc(iSize)));
    if (!work) {
        trace_at(TRACE_DETAILS, "resolve_glbv: malloc(%lu) failed with: (%d) %s",
                 static_cast<unsigned long>(iSize), errno, error_text(errno).c_str());
        return 0;
    }
    const s_REFERENCE reference = look_up_reference(cpName, REFERENCE_VARIABLE);
    if (!reference.bKnown) {
        return 0;
    }
    text_copy(work.get(), static_cast<long>(iSize), text_of(reference));
    text_copy(cpName, size, work.get());
    return 1;
}

int resolve_path(char *cpPath, int size) {
    const s_REFERENCE reference = look_up_reference(cpPath, REFERENCE_PATHES);
    if (reference.bKnown) {
        text_copy(cpPath, size,
                  reference.value.substr(0, kPathLength) + reference.rest.substr(0, kRestLength));
    }
    return 1;
}

int resolve_reference(char *cpName, int size) {
    return resolve_glbv(cpName, size) == 1 ? 1 : resolve_path(cpName, size);
}
