#include "tools/C_Progress.h"

#include <fmt/core.h>

#include <algorithm>

namespace {
const int BAR_WIDTH = 24;
}

C_Progress::C_Progress(C_Printer& io_printer, bool i_bars)
    : m_printer(io_printer), m_bars(i_bars), m_running(false), m_drawn(0), m_nameWidth(0) {}

C_Progress::~C_Progress() { Stop(); }

std::size_t C_Progress::Add(const std::string& i_name, std::uint64_t i_total) {
  m_rows.emplace_back();
  m_rows.back().name = i_name;
  m_rows.back().total = i_total;
  m_nameWidth = std::max(m_nameWidth, i_name.size());
  return m_rows.size() - 1;
}

void C_Progress::Start() {
  if (!m_bars || m_running) return;
  m_running = true;
  Draw();
  m_thread = std::thread(&C_Progress::Loop, this);
}

void C_Progress::Loop() {
  while (m_running) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (m_running) Draw();
  }
}

void C_Progress::Stop() {
  if (!m_running) return;
  m_running = false;
  if (m_thread.joinable()) m_thread.join();
  Draw();
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
  if (state == 0) return line + "  waiting";
  if (state == 2) {
    const C_Printer::E_Colour colour = i_row.good ? C_Printer::GREEN : C_Printer::RED;
    return line + fmt::format("  {:.1f} s  ", i_row.seconds) +
           m_printer.Paint(i_row.result, colour, 2);
  }
  const double elapsed = std::chrono::duration<double>(T_Clock::now() - i_row.begin).count();
  const double rate = elapsed > 0 ? sent / elapsed : 0;
  if (sent >= i_row.total) return line + fmt::format("  {}/s  finishing", Bytes(rate));
  const std::string left = rate > 0 ? Duration((i_row.total - sent) / rate) : "?";
  return line + fmt::format("  {}/s  {} left", Bytes(rate), left);
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
