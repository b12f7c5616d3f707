#include "vpn/tools/TOLM/TOLMEngine/implementations/CommandObserver.h"

namespace halvo {

namespace {

ICommandObserver* s_pObserver = nullptr;

}  // namespace

void setCommandObserver(ICommandObserver* observer) {
  s_pObserver = observer;
}

bool isCommandGivenUp() {
  return s_pObserver != nullptr && s_pObserver->isCommandGivenUp();
}

// Kept for the end: it is told to whoever was told of the start.
ObservedCommand::ObservedCommand(const std::string& commandLine) : m_pObserver(s_pObserver) {
  if (m_pObserver != nullptr) {
    m_pObserver->commandStarts(commandLine);
  }
}

ObservedCommand::~ObservedCommand() {
  if (m_pObserver != nullptr) {
    m_pObserver->commandEnded();
  }
}

}  // namespace halvo
