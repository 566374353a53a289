// Control of the media server on this host.
#pragma once

#include "common/unix/trace/trace.h"

// Whether the media server's data server runs. iRestartFlg 0 only checks, 1 reloads the media
// server when it does not run, 2 reloads it first. Returns 1 when it runs, after a reload if there
// was one; 0 when not, or when a signal ended the reload, after a reload with an alarm. The reload
// has none of the caller's standard streams: what it starts runs on.
int i_CHECK_VNS(int iRestartFlg, str_log strLog);

// How long a reloaded media server takes to be up, milliseconds.
struct s_VNS_POLICY {
    int iReloadMsec;
};
extern s_VNS_POLICY gVnsPolicy;
