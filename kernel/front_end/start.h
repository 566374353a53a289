// What the process needs before it carries out a request.
#pragma once

// Makes the standard streams and signals what the agent relies on, whatever the caller left them,
// and has a lack of memory end in a record.
void PREPARE_PROCESS();

// Changes into the installation's work directory. A failure is not told: many functions do without
// it, and those that act on what it holds refuse (REQUIRE_WORK_DIRECTORY).
void ENTER_WORK_DIRECTORY();
