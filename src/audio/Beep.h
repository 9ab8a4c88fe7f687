#pragma once

#include <functional>

namespace tonaris {

// Sounds a sine tone of frequencyHz for durationMs on the default audio output and returns at
// once; the tone cleans up after itself. Nothing happens, silently, when there is no output
// device, no application object, or the device cannot be opened. Callable from any thread (the
// tone is played from the application's thread). An application that quits mid-tone cuts it.
void Beep(int frequencyHz, int durationMs);

// For tests: while a hook is set, Beep calls it instead of sounding (on the calling thread).
// An empty function restores the sound.
using BeepHook = std::function<void(int frequencyHz, int durationMs)>;
void setBeepHook(BeepHook hook);

} // namespace tonaris
