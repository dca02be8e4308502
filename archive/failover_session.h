#pragma once

#include <memory>

#include "archive/server_session.h"

namespace keldane {

/// A session over another one, for servers that stand in for each other: goes from a host that is
/// lost to the next of its address, and sends a statement again that the server gave up for the
/// sake of another (a deadlock, a writing of another node of a cluster that came first).
///
/// A statement is sent again where that cannot do it twice: when it only reads or deletes, or when
/// the server has certainly not begun with it. Never within a transaction, which is the caller's to
/// repeat; never one whose outcome nobody knows: that fails with the words of a lost link, and
/// whoever sent it finds out (see `ServerSession::waitsWhenUnsure`). So it is with the link cut,
/// and with a node that gives a writing up while it is cut off from its cluster.
///
/// With one host in the address the link is lost as it ever was. One thread at a time.
[[nodiscard]] std::unique_ptr<ServerSession> makeFailoverSession(
    std::unique_ptr<ServerSession> inner);

}  // namespace keldane
