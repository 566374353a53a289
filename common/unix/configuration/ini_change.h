// Changing one value of an INI file.
#pragma once

// Sets cpKey of section cpSection (without brackets, both spelled exactly as in the file) to
// cpValue and rewrites the file that the identifier or path cpIni names, in place and without its
// comments. A key that the section lacks is added; one of a section that the file lacks is not
// written. Section and key together count up to 254 characters. Returns 1; 0 when the file cannot
// be found, taken in, or written, has no section, or a text holds a line end. Unless writing itself
// failed the file is then untouched.
int i_change_ini(const char *cpIni, const char *cpSection, const char *cpKey, const char *cpValue);
