#pragma once

namespace VESK::Host
{

/// Lets all threads share two heaps instead of having up to eight for each processor: each heap keeps the
/// peak of what was once in use in it. Before the first thread.
void limitHeaps();

/// Gives what is free in the heaps back to the system. Any thread; takes milliseconds.
void returnFreedMemory();

} // namespace VESK::Host
