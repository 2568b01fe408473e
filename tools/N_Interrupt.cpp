#include "tools/N_Interrupt.h"

#include <signal.h>
#include <unistd.h>

#include <cstring>

namespace N_Interrupt {

namespace {

std::atomic<bool> g_requested{false};
std::atomic<int> g_count{0};
struct sigaction g_previous[2];
const int SIGNALS[2] = {SIGINT, SIGTERM};

// Only async-signal-safe calls: write(2) of fixed texts.
void Write(const char* i_text) {
  if (write(STDERR_FILENO, i_text, std::strlen(i_text)) < 0) {
    // Nothing to do about a standard error that cannot be written.
  }
}

void Handle(int) {
  g_requested = true;
  if (g_count.fetch_add(1) == 0) {
    Write("\nvekctl: interrupted: the command block in flight completes, nothing more is "
          "sent; the summary says what state each drive was left in\n");
  } else {
    Write("vekctl: the download is being wound down; the summary follows\n");
  }
}

}  // namespace

void Install() {
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = &Handle;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (int i = 0; i < 2; ++i) sigaction(SIGNALS[i], &action, &g_previous[i]);
}

void Restore() {
  for (int i = 0; i < 2; ++i) sigaction(SIGNALS[i], &g_previous[i], nullptr);
}

bool Requested() { return g_requested; }

const std::atomic<bool>* Flag() { return &g_requested; }

}  // namespace N_Interrupt
