// What a function requires of its options: that they are there, and that they are whole.
#pragma once

// An option that must be given.
struct s_REQUIRED {
    const char *cpOption;  // its buffer; null: none
    const char *cpMissing; // the message when it is empty
    int iStatus;           // and its status
};

// Ends the process with the record of the requirement that is not met.
void REQUIRE_OPTION(const s_REQUIRED &required);

// Ends the process with status 2 and "option -<letter> is too long" ("arguments are too long" for
// OPTION_WORDS) when the value of one of these options did not fit its buffer. Any character that
// is no option's letter is a fault of the table.
void REQUIRE_WHOLE(const char *cpOptions);

// A relative name is one of the work directory. Ends the call with status 2 when the process could
// not change into it: elsewhere the name would be another file's.
void REQUIRE_WORK_DIRECTORY(const char *cpName);
