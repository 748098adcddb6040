#include "support/run_program.h"

#include <csignal>

#include "support/peer_process.h"
#include "support/temporary_folder.h"

namespace xv::test {

ProgramResult RunProgram(const std::vector<std::string>& command, int interruptAfter) {
  constexpr double kForever = 1e6;
  const TemporaryFolder folder;
  PeerProcess program(command, folder / "out", folder / "err");
  if (interruptAfter > 0 && !program.WaitForEnd(interruptAfter / 1000.0)) program.Send(SIGINT);
  program.WaitForEnd(kForever);
  return {program.ExitStatus(), folder.Read("out"), folder.Read("err")};
}

}  // namespace xv::test
