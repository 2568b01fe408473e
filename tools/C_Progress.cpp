#include "tools/C_Progress.h"

#include <fmt/core.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

namespace {
const int BAR_WIDTH = 24;

std::size_t TerminalWidth() {
  struct winsize size;
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return 80;
}
}  // namespace

C_Progress::C_Progress(C_Printer& io_printer, bool i_bars)
    : m_printer(io_printer),
      m_bars(i_bars),
      m_running(false),
      m_drawn(0),
      m_nameWidth(0),
      m_width(i_bars ? TerminalWidth() : 0) {}

C_Progress::~C_Progress() { Stop(); }

std::size_t C_Progress::Add(const std::string& i_name, std::uint64_t i_total) {
  m_rows.emplace_back();
  m_rows.back().name = i_name;
  m_rows.back().total = i_total;
  m_nameWidth = std::max(m_nameWidth, i_name.size());
  return m_rows.size() - 1;
}

void C_Progress::Start() {
  if (m_running) return;
  m_running = true;
  if (m_bars) Draw();
  m_thread = std::thread(&C_Progress::Loop, this);
}

void C_Progress::Loop() {
  for (;;) {
    {
      std::unique_lock<std::mutex> lock(m_stopMutex);
      auto stopped = [this] { return !m_running; };
      if (m_stopped.wait_for(lock, std::chrono::milliseconds(100), stopped)) break;
    }
    if (m_bars) {
      Draw();
    } else {
      Remind();
    }
  }
}

void C_Progress::Stop() {
  if (!m_running) return;
  {
    // Stopped at once, not at the next tick: a flash ends when its drives do.
    std::lock_guard<std::mutex> lock(m_stopMutex);
    m_running = false;
  }
  m_stopped.notify_one();
  if (m_thread.joinable()) m_thread.join();
  if (m_bars) Draw();
}

void C_Progress::Phase(std::size_t i_row, const std::string& i_text) {
  S_Row& row = m_rows[i_row];
  std::string line;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (row.phase == i_text) return;
    row.phase = i_text;
    row.phaseSince = row.reminded = T_Clock::now();
    // A phase that comes back (busy after the reset too) is the same wait.
    if (!i_text.empty() && i_text != row.told) {
      row.told = i_text;
      line = fmt::format("{}: {} sent; {}\n", row.name, Bytes(static_cast<double>(row.sent)),
                         i_text);
    }
  }
  if (!m_bars && !line.empty()) m_printer.RawError(line);
}

void C_Progress::Remind() {
  std::string text;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    const T_Clock::time_point now = T_Clock::now();
    for (S_Row& row : m_rows) {
      if (row.state != 1 || row.phase.empty() ||
          now - row.reminded < std::chrono::seconds(REMIND_SECONDS))
        continue;
      row.reminded = now;
      text += fmt::format("{}: still {} ({:.0f} s)\n", row.name, row.phase,
                          std::chrono::duration<double>(now - row.phaseSince).count());
    }
  }
  if (!text.empty()) m_printer.RawError(text);
}

void C_Progress::Begin(std::size_t i_row) {
  S_Row& row = m_rows[i_row];
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    row.begin = T_Clock::now();
  }
  row.state = 1;
  if (!m_bars)
    m_printer.RawError(fmt::format("{}: flashing, {} to send\n", row.name, Bytes(row.total)));
}

void C_Progress::Sent(std::size_t i_row, std::uint64_t i_bytes) { m_rows[i_row].sent += i_bytes; }

void C_Progress::End(std::size_t i_row, const std::string& i_result, bool i_good) {
  S_Row& row = m_rows[i_row];
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    row.seconds = std::chrono::duration<double>(T_Clock::now() - row.begin).count();
    row.result = i_result;
    row.good = i_good;
  }
  row.state = 2;
  if (!m_bars) {
    m_printer.RawError(fmt::format("{}: {} after {:.1f} s ({} sent)\n", row.name, i_result,
                                   row.seconds, Bytes(static_cast<double>(row.sent))));
  }
}

std::string C_Progress::Bytes(double i_bytes) {
  if (i_bytes < 1024) return fmt::format("{:.0f} B", i_bytes);
  if (i_bytes < 1024.0 * 1024) return fmt::format("{:.1f} KiB", i_bytes / 1024);
  return fmt::format("{:.1f} MiB", i_bytes / (1024.0 * 1024));
}

std::string C_Progress::Duration(double i_seconds) {
  const long total = static_cast<long>(i_seconds + 0.5);
  if (total >= 3600)
    return fmt::format("{}:{:02}:{:02}", total / 3600, total / 60 % 60, total % 60);
  return fmt::format("{}:{:02}", total / 60, total % 60);
}

std::string C_Progress::Fit(const std::string& i_text, std::size_t i_width) {
  return i_text.size() <= i_width ? i_text : i_text.substr(0, i_width);
}

std::string C_Progress::Render(const S_Row& i_row) const {
  const int state = i_row.state;
  const std::uint64_t sent = std::min<std::uint64_t>(i_row.sent, i_row.total);
  const double fraction = i_row.total ? static_cast<double>(sent) / i_row.total : 1.0;
  const int filled = static_cast<int>(fraction * BAR_WIDTH);
  std::string bar = "[" + std::string(filled, '#') + std::string(BAR_WIDTH - filled, '-') + "]";
  std::string name = i_row.name;
  name.resize(m_nameWidth, ' ');
  // Rounded down: 100% only when every byte is in.
  std::string line =
      fmt::format("{}  {} {:3}%  {}/{}", name, bar, static_cast<int>(fraction * 100),
                  Bytes(static_cast<double>(sent)), Bytes(static_cast<double>(i_row.total)));
  // The last column stays free: a line as wide as the terminal wraps on
  // some terminals.
  const std::size_t width = m_width > 1 ? m_width - 1 : 0;
  if (state == 0) return Fit(line + "  waiting", width);
  if (state == 2) {
    line = Fit(line + fmt::format("  {:.1f} s  ", i_row.seconds), width);
    const std::string result = Fit(i_row.result, width - line.size());
    const C_Printer::E_Colour colour = i_row.good ? C_Printer::GREEN : C_Printer::RED;
    return line + m_printer.Paint(result, colour, 2);
  }
  const double elapsed = std::chrono::duration<double>(T_Clock::now() - i_row.begin).count();
  if (!i_row.phase.empty()) {
    const double since = std::chrono::duration<double>(T_Clock::now() - i_row.phaseSince).count();
    return Fit(line + fmt::format("  {} ({})", i_row.phase, Duration(since)), width);
  }
  const double rate = elapsed > 0 ? sent / elapsed : 0;
  if (sent >= i_row.total) return Fit(line + fmt::format("  {}/s  finishing", Bytes(rate)), width);
  const std::string left = rate > 0 ? Duration((i_row.total - sent) / rate) : "?";
  return Fit(line + fmt::format("  {}/s  {} left", Bytes(rate), left), width);
}

void C_Progress::Draw() {
  std::string text;
  // Back to the first bar, then each line rewritten and cleared to its end.
  if (m_drawn) text += fmt::format("\033[{}A", m_drawn);
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const S_Row& row : m_rows) text += "\r" + Render(row) + "\033[K\n";
  }
  m_drawn = m_rows.size();
  m_printer.RawError(text);
}
