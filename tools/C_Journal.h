#ifndef VEK_TOOLS_C_JOURNAL_H
#define VEK_TOOLS_C_JOURNAL_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// The flash journal: one JSON object per line, one line per flash attempt
// (doc/vekctl.md lists the keys), kept in the state directory:
// $VEK_STATE_DIR/journal.jsonl, else $XDG_STATE_HOME/vek/journal.jsonl,
// else ~/.local/state/vek/journal.jsonl.
//
// Appending takes an exclusive flock on "<journal>.lock", reads the
// journal, adds the lines and writes it whole to a temporary name that is
// renamed over it: two processes appending at once both get their lines
// in, and a crash leaves the journal as it was before or after, never half
// a line. Readers need no lock (a rename is atomic).
//
// Threads: one thread per object.
class C_Journal {
 public:
  // i_path empty: DefaultPath().
  explicit C_Journal(const std::string& i_path = "");
  static std::string DefaultPath();
  const std::string& Path() const { return m_path; }

  // Appends the entries, one line each. Throws C_Failure (3) naming the
  // journal and the reason; the journal is then as it was.
  void Append(const std::vector<nlohmann::json>& i_entries);
  // Every entry, oldest first; a missing journal is empty. Lines that are
  // not JSON objects are counted in o_damaged (when given) and left out.
  std::vector<nlohmann::json> Read(std::size_t* o_damaged = nullptr) const;

 private:
  std::string m_path;
};

#endif
