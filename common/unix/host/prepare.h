// What every program of ours makes sure of before it does anything.
#pragma once

// Makes the standard streams and signals what our code relies on, whatever the caller left them: no
// file takes the place of a closed stream, a reader that has gone does not end the process, and
// children can be waited for.
void prepare_process();
