// The logger of Linux hosts with a journal: one record per message over the journal's native protocol,
// with the message's name and id as fields, so that
//
//   journalctl SYSLOG_IDENTIFIER=tmtolmui TOLM_MESSAGE_ID=2
//
// finds the return-code logs of the wizard. Lines of a message stay lines.

#pragma once

#include <memory>

#include "vpn/Common/Diagnostics/ILogger.h"

namespace halvo {

// Where a journal listens.
inline constexpr char kJournalSocket[] = "/run/systemd/journal/socket";

// Makes a journal logger under `name`. Any thread may log. Its log() returns GLOBAL_ERROR_UNEXPECTED for a
// record that no journal has taken: there is no socket, nobody listens at it, or it was refused. The record
// is the caller's to write elsewhere.
std::unique_ptr<ILogger> makeJournalLogger(const char* name);

}  // namespace halvo
