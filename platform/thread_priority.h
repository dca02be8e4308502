#pragma once

namespace keldane {

/// The calling thread, and the programs that it starts, give way to all others from now on: it
/// works in the time that they leave. What the system refuses stays as it is.
void lowerThreadPriority();

}  // namespace keldane
