// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Takes Ctrl-C, SIGTERM and SIGHUP from now on, unless they are ignored already: the first one is only noted, so that
/// the work at hand can end in good order and remove its temporary files. A second Ctrl-C or SIGTERM ends the program;
/// SIGHUP comes twice from many a terminal that is closed.
void takeInterruptions();
/// Whether there was one.
bool wasInterrupted();
/// The work is done: a signal that came too late to stop it, or comes from now on, changes nothing.
void endInterruptions();
/// What the program ends with because of it, as shells have it: 130 after Ctrl-C, 143 after SIGTERM, 129 after SIGHUP.
int interruptionStatus();
