#pragma once

namespace kovra {

/// Creates the control pipe, one instance that every account may open. When that fails the service runs on
/// without a control channel.
void createPipe(const char* name);

/// Serves at most one message and never waits for a client longer than two seconds. Clients that hold the one
/// instance without a message are dropped.
void servicePipe();

void closePipe();

} // namespace kovra
