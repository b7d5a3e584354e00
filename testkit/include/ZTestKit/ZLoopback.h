#pragma once

// Ports on the loopback interface, for servers a test starts of its own.

// A port nobody listens on now (0 when none could be found).
int ZFreeLoopbackPort();
// Whether something accepts connections on the port.
bool ZAcceptsOnLoopback(int port);
