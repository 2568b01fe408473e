#ifndef VEK_TOOLS_C_PRINTER_H
#define VEK_TOOLS_C_PRINTER_H

#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// All of vekctl's output, in one place:
//  - prose (lines and tables) on standard output, dropped in --json mode;
//  - the one JSON document on standard output, only in --json mode: the
//    command gives its own keys (Json), and Finish prints them once inside
//    the envelope every document shares (doc/vekctl.md);
//  - errors, warnings, progress and -v traces on standard error.
// Colour only where the stream is a terminal and NO_COLOR is not set (to a
// non-empty value).
//
// Threads: every member may be called from several threads (flash jobs);
// each call writes whole lines under one lock.
class C_Printer {
 public:
  enum E_Colour { PLAIN, GREEN, YELLOW, RED, BOLD, DIM };

  C_Printer(int i_verbosity, bool i_json);

  int Verbosity() const { return m_verbosity; }
  bool JsonMode() const { return m_json; }
  bool StdoutIsTerminal() const { return m_stdoutTerminal; }
  bool StderrIsTerminal() const { return m_stderrTerminal; }
  bool ColourOnStderr() const { return m_colourErr; }

  // A line of prose (a line feed is added); nothing in --json mode.
  void Line(const std::string& i_text, E_Colour i_colour = PLAIN);
  // Rows under a header, columns padded to their widest cell and separated
  // by two blanks; i_colour picks a colour per cell (row, column). Nothing in
  // --json mode.
  void Table(const std::vector<std::string>& i_header,
             const std::vector<std::vector<std::string>>& i_rows,
             const std::function<E_Colour(std::size_t, std::size_t)>& i_colour = nullptr);
  // The command's own keys of the JSON document (an object); a later call
  // adds to and overrides an earlier one. Printed by Finish.
  void Json(const nlohmann::json& i_document);
  // In --json mode prints the document once: the command's keys with the
  // envelope "version" (JSON_VERSION), "command" (as typed, without
  // options), "exitStatus" and, when the command failed as a whole,
  // "error". Nothing in prose mode; a second call prints nothing.
  void Finish(const std::string& i_command, int i_exitStatus, const std::string& i_error = "");
  // The envelope around i_body, for the one caller that has no printer (a
  // command line that did not parse).
  static nlohmann::json Envelope(nlohmann::json i_body, const std::string& i_command,
                                 int i_exitStatus, const std::string& i_error);
  // The document format's version: raised only for an incompatible change.
  static constexpr int JSON_VERSION = 1;

  // One line on standard error.
  void Error(const std::string& i_text);
  void Warning(const std::string& i_text);
  // A line on standard error when -v was given at least i_level times.
  void Verbose(int i_level, const std::string& i_text);
  // Raw text on standard error (progress display), written as it is.
  void RawError(const std::string& i_text);

  // i_text in colour when the stream (1 or 2) takes colour.
  std::string Paint(const std::string& i_text, E_Colour i_colour, int i_stream) const;

 private:
  int m_verbosity;
  bool m_json;
  bool m_stdoutTerminal;
  bool m_stderrTerminal;
  bool m_colourOut;
  bool m_colourErr;
  nlohmann::json m_document;
  bool m_finished;
  std::mutex m_mutex;
};

#endif
