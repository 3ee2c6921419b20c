#pragma once

namespace kovra {

/// Creates the control pipe, one instance that every account may open. When that fails the service runs on
/// without a control channel.
void createPipe(const char* name);

/// Serves at most one message and never waits for a client. The reply is left to its client for two seconds;
/// as long as it stands nothing else is served. Clients that hold the one instance without a message are
/// dropped.
void servicePipe();

/// Whether the last reply is still to be read. A client that has read it, has gone, or has had its two
/// seconds for it is dropped, and gives no. It never waits.
[[nodiscard]] bool isReplyStanding();

/// A reply that still stands is given up.
void closePipe();

} // namespace kovra
