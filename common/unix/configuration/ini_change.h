// Changing one value of an INI file.
#pragma once

// Sets cpKey of section cpSection (without brackets, both spelled exactly as in the file) to
// cpValue and rewrites the file that the identifier or path cpIni names, in place and without its
// comments. A key that the section lacks is added; one of a section that the file lacks is not
// written. Returns 1; 0 when the file cannot be found, loaded or written, or when the entry could
// not be read back as it is: a text holds a line end, the key is empty, begins with "#", ";" or "["
// or holds "=", or section and key together have more than 254 characters. The file then holds its
// old text.
int i_change_ini(const char *cpIni, const char *cpSection, const char *cpKey, const char *cpValue);

// The same, and fills cpMsg (iLengthMsg bytes) with the reason when the file could not be written
// ("No space left on device"); otherwise it is empty.
int i_CHANGE_INI_VALUE(const char *cpIni, const char *cpSection, const char *cpKey,
                       const char *cpValue, char *cpMsg, int iLengthMsg);
