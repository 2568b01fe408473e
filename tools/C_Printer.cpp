#include "tools/C_Printer.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

bool NoColourWanted() {
  const char* value = std::getenv("NO_COLOR");
  return value && *value;
}

const char* Escape(C_Printer::E_Colour i_colour) {
  switch (i_colour) {
    case C_Printer::GREEN: return "\033[32m";
    case C_Printer::YELLOW: return "\033[33m";
    case C_Printer::RED: return "\033[31m";
    case C_Printer::BOLD: return "\033[1m";
    case C_Printer::DIM: return "\033[2m";
    default: return "";
  }
}

void Write(std::FILE* i_stream, const std::string& i_text) {
  std::fwrite(i_text.data(), 1, i_text.size(), i_stream);
  std::fflush(i_stream);
}

}  // namespace

C_Printer::C_Printer(int i_verbosity, bool i_json)
    : m_verbosity(i_verbosity),
      m_json(i_json),
      m_stdoutTerminal(isatty(STDOUT_FILENO) == 1),
      m_stderrTerminal(isatty(STDERR_FILENO) == 1),
      m_colourOut(m_stdoutTerminal && !NoColourWanted()),
      m_colourErr(m_stderrTerminal && !NoColourWanted()),
      m_document(nlohmann::json::object()),
      m_finished(false) {}

std::string C_Printer::Paint(const std::string& i_text, E_Colour i_colour, int i_stream) const {
  const bool colour = i_stream == 1 ? m_colourOut : m_colourErr;
  if (!colour || i_colour == PLAIN) return i_text;
  return Escape(i_colour) + i_text + "\033[0m";
}

void C_Printer::Line(const std::string& i_text, E_Colour i_colour) {
  if (m_json) return;
  std::lock_guard<std::mutex> lock(m_mutex);
  Write(stdout, Paint(i_text, i_colour, 1) + "\n");
}

void C_Printer::Table(const std::vector<std::string>& i_header,
                      const std::vector<std::vector<std::string>>& i_rows,
                      const std::function<E_Colour(std::size_t, std::size_t)>& i_colour) {
  if (m_json) return;
  std::vector<std::size_t> widths(i_header.size(), 0);
  auto measure = [&widths](const std::vector<std::string>& i_row) {
    for (std::size_t c = 0; c < i_row.size() && c < widths.size(); ++c) {
      widths[c] = std::max(widths[c], i_row[c].size());
    }
  };
  measure(i_header);
  for (const auto& row : i_rows) measure(row);
  // Padding is added before colour so escape sequences never skew columns;
  // the last column is not padded.
  auto format = [&](const std::vector<std::string>& i_row, std::size_t i_index, bool i_header) {
    std::string line;
    for (std::size_t c = 0; c < i_row.size() && c < widths.size(); ++c) {
      std::string cell = i_row[c];
      if (c + 1 < i_row.size()) cell.resize(widths[c], ' ');
      E_Colour colour = i_header ? BOLD : (i_colour ? i_colour(i_index, c) : PLAIN);
      line += Paint(cell, colour, 1);
      if (c + 1 < i_row.size()) line += "  ";
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line + "\n";
  };
  std::string text = format(i_header, 0, true);
  for (std::size_t r = 0; r < i_rows.size(); ++r) text += format(i_rows[r], r, false);
  std::lock_guard<std::mutex> lock(m_mutex);
  Write(stdout, text);
}

void C_Printer::Json(const nlohmann::json& i_document) {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_document.update(i_document);
}

nlohmann::json C_Printer::Envelope(nlohmann::json i_body, const std::string& i_command,
                                   int i_exitStatus, const std::string& i_error) {
  i_body["version"] = JSON_VERSION;
  i_body["command"] = i_command;
  i_body["exitStatus"] = i_exitStatus;
  if (i_error.empty()) {
    i_body.erase("error");
  } else {
    i_body["error"] = i_error;
  }
  return i_body;
}

void C_Printer::Finish(const std::string& i_command, int i_exitStatus,
                       const std::string& i_error) {
  std::lock_guard<std::mutex> lock(m_mutex);
  if (!m_json || m_finished) return;
  m_finished = true;
  const nlohmann::json document = Envelope(m_document, i_command, i_exitStatus, i_error);
  // Texts from drives may hold bytes that are not UTF-8; they are replaced
  // rather than failing the whole document.
  Write(stdout, document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
}

void C_Printer::Error(const std::string& i_text) {
  std::lock_guard<std::mutex> lock(m_mutex);
  Write(stderr, Paint(i_text, RED, 2) + "\n");
}

void C_Printer::Warning(const std::string& i_text) {
  std::lock_guard<std::mutex> lock(m_mutex);
  Write(stderr, Paint("warning: " + i_text, YELLOW, 2) + "\n");
}

void C_Printer::Verbose(int i_level, const std::string& i_text) {
  if (m_verbosity < i_level) return;
  std::lock_guard<std::mutex> lock(m_mutex);
  Write(stderr, i_text + "\n");
}

void C_Printer::RawError(const std::string& i_text) {
  std::lock_guard<std::mutex> lock(m_mutex);
  Write(stderr, i_text);
}
