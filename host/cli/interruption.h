#pragma once

/// Takes Ctrl-C from now on, unless it is ignored already: the first one is only noted, so that the work at hand can
/// end in good order; a second one ends the program.
void takeInterruptions();
/// Whether there was one.
bool wasInterrupted();
/// The work is done: a Ctrl-C that came too late to stop it, or comes from now on, changes nothing.
void endInterruptions();
