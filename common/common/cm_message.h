// The message language and the two reporting procedures that every layer may call, also the
// portable helpers below the trace and protocol themselves, which live in common/unix.
#pragma once

// Languages of the installation. English, German and the dialect have texts of their own; every
// other language prints English unless a message says otherwise.
enum LANGUAGES {
    LANG_EN = 0,
    LANG_ES = 1,
    LANG_DE = 2,
    LANG_BY = 3,
    LANG_FR = 4,
    LANG_HR = 5,
    LANG_PT = 6
};

// The message language of this process; English until the trace is configured.
extern LANGUAGES eLang;

// Picks the text of the message language out of the three that an operator may see. The texts may
// be formats, they must then take the same arguments.
__attribute__((format_arg(1), format_arg(2), format_arg(3))) inline const char *
by_language(const char *cpEnglish, const char *cpGerman, const char *cpDialect) {
    switch (eLang) {
    case LANG_DE:
        return cpGerman;
    case LANG_BY:
        return cpDialect;
    default:
        return cpEnglish;
    }
}

// Writes an event to the operator protocol, printf-style. The first 12 characters of the format
// are the message tag, the 13th a separator ("E003-BASICS  %s"). An event whose tag begins with
// "E" goes to the error protocol too. Failures lose the event, never the caller.
void PROT(const char *cpFormat, ...) __attribute__((format(printf, 1, 2)));

// What a trace line needs the level of its record to be at least.
enum e_TRACE_LEVEL {
    TRACE_ALWAYS = 0,
    TRACE_EVENTS = 1,  // entry and exit of procedures, main events
    TRACE_DETAILS = 2, // what is found and decided on the way
    TRACE_NOISE = 3    // what comes per character or per entry
};

// Writes a trace line through the process's first trace record. A format that begins with "%l",
// a digit and a blank ("%l3 ") is written from that trace level on, any other from level 2 on.
// The prefix is no printf conversion, so the compiler cannot check such a format: use trace_at.
void trace(const char *cpFormat, ...);

// The checked form of trace: written when the level of the first trace record is at least iLevel.
void trace_at(int iLevel, const char *cpFormat, ...) __attribute__((format(printf, 2, 3)));
