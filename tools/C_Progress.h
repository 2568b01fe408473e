#ifndef VEK_TOOLS_C_PROGRESS_H
#define VEK_TOOLS_C_PROGRESS_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "tools/C_Printer.h"

// Progress of drives being flashed, on standard error. On a terminal: one
// bar per drive (bytes sent, rate, time left, or what the drive is doing
// once everything is sent), redrawn in place ten times a second and cut to
// the terminal's width so that a line never wraps. Otherwise: one plain line
// when a drive starts, when its phase changes ("waiting for the drive to
// become ready"), every REMIND_SECONDS while a phase lasts, and when it
// ends: a drive that takes minutes is never silent.
//
// Threads: Add before Start; Sent, Phase, Begin and End from the job
// threads; Start and Stop from the thread that owns the object.
class C_Progress {
 public:
  C_Progress(C_Printer& io_printer, bool i_bars);
  ~C_Progress();
  C_Progress(const C_Progress&) = delete;
  C_Progress& operator=(const C_Progress&) = delete;

  // A row for a drive that will send i_total bytes; returns its index.
  std::size_t Add(const std::string& i_name, std::uint64_t i_total);
  void Start();
  void Begin(std::size_t i_row);
  void Sent(std::size_t i_row, std::uint64_t i_bytes);
  // What the drive does now, in a few words; "" while data is being sent.
  void Phase(std::size_t i_row, const std::string& i_text);
  void End(std::size_t i_row, const std::string& i_result, bool i_good);
  // Draws the final state (bars) and stops the drawing thread.
  void Stop();

  // "96.1 KiB", "1.2 MiB" (binary units, one decimal).
  static std::string Bytes(double i_bytes);
  // "0:07", "1:02:03".
  static std::string Duration(double i_seconds);
  // i_text cut to i_width characters (bytes; the texts are ASCII).
  static std::string Fit(const std::string& i_text, std::size_t i_width);

  static constexpr int REMIND_SECONDS = 5;

 private:
  typedef std::chrono::steady_clock T_Clock;
  struct S_Row {
    std::string name;
    std::uint64_t total = 0;
    std::atomic<std::uint64_t> sent{0};
    std::atomic<int> state{0};  // 0 waiting, 1 running, 2 done
    T_Clock::time_point begin;
    double seconds = 0;
    std::string result;
    bool good = true;
    std::string phase;
    std::string told;  // the last phase given a line of its own
    T_Clock::time_point phaseSince, reminded;
  };

  std::string Render(const S_Row& i_row) const;
  void Draw();
  void Remind();
  void Loop();

  C_Printer& m_printer;
  bool m_bars;
  std::deque<S_Row> m_rows;  // a deque: rows never move once added
  std::mutex m_mutex;        // begin, seconds and result of the rows
  std::thread m_thread;
  std::atomic<bool> m_running;
  std::mutex m_stopMutex;
  std::condition_variable m_stopped;  // wakes the drawing thread at Stop
  std::size_t m_drawn;  // lines drawn by the last Draw
  std::size_t m_nameWidth;
  std::size_t m_width;  // the terminal's columns
};

#endif
