// SIGINT and SIGTERM: the first one asks the work to stop, so that unfinished files are removed and the
// decoder deletes its temporary ones; a second one removes the unfinished output and ends the program at
// once.
#pragma once

#include <string>

namespace kyhost {

void installSignalHandlers();

// Throws Interrupted once a signal has arrived. Called between pieces of work.
void checkInterrupt();

// The file that the second signal removes; an empty path removes nothing. One at a time.
void removeOnSecondSignal(std::string const& path);

}  // namespace kyhost
