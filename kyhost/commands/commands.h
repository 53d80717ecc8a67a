// A call's words come in and choose one of these commands, each in the file of its name; what it read goes to
// the writers.
#pragma once

#include <vector>

#include "kyhost/commands/command.h"

namespace kyhost {

Command infoCommand();
Command framesCommand();
Command audioCommand();
Command subsCommand();
Command hashCommand();
Command contactCommand();
Command getCommand();
Command timestampsCommand();
Command captionsCommand();
Command benchCommand();

// All of them, in the order in which help shows them.
std::vector<Command> allCommands();

}  // namespace kyhost
