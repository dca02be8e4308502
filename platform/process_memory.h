#pragma once

namespace keldane {

/// Large blocks go back to the system when they are freed. Left to itself, the C library keeps what
/// one huge message has freed, in pieces that the next one does not fit. To be called at the start
/// of a program, before its threads.
void giveLargeBlocksBack();

}  // namespace keldane
