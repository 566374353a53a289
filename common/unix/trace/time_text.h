// Times as text.
#pragma once

#include <ctime>

// Fills cpText (iSize bytes) with the local time lTime in the notation of strftime; empty when it
// does not fit.
void cm_strftime(std::time_t lTime, const char *cpFormat, char *cpText, int iSize)
    __attribute__((format(strftime, 2, 0)));

// Replaces the buffer cpTime (at least 25 bytes) by a formatted local time and returns it. What the
// text in it asks for, behind an optional base time "YYYY-MM-DD HH:MM:SS " or "YYYYMMDD_HHMMSS "
// (each with its separator): "D n", "H n", "M n", "S n" adds days, hours, minutes, seconds, "T" is
// tomorrow, "Y" yesterday, "I" the 14 digits of the time, "N" these and three of milliseconds;
// anything else is the time itself. The result is "YYYY-MM-DD HH:MM:SS" unless said otherwise.
char *time_get(char *cpTime);
