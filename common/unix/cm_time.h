// Times as text.
#pragma once

#include <ctime>

// Fills cpText (iSize bytes) with the local time lTime in the notation of strftime; empty when it
// does not fit.
void cm_strftime(std::time_t lTime, const char *cpFormat, char *cpText, int iSize)
    __attribute__((format(strftime, 2, 0)));
