#include "kyhost/commands/commands.h"

namespace kyhost {

std::vector<Command> allCommands() {
  return {infoCommand(),    framesCommand(), audioCommand(),      subsCommand(),     hashCommand(),
          contactCommand(), getCommand(),    timestampsCommand(), captionsCommand(), benchCommand()};
}

}  // namespace kyhost
