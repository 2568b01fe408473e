#include "tools/N_Sense.h"

#include <scsi/sg_lib.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <sstream>

namespace N_Sense {

bool ParseByteAttribute(const std::string& i_text, std::vector<std::uint8_t>& o_bytes) {
  o_bytes.clear();
  std::istringstream in(i_text);
  std::string word;
  while (in >> word) {
    if (word.size() > 2 || !std::all_of(word.begin(), word.end(),
                                        [](unsigned char c) { return std::isxdigit(c) != 0; })) {
      o_bytes.clear();
      return false;
    }
    o_bytes.push_back(static_cast<std::uint8_t>(std::stoul(word, nullptr, 16)));
  }
  return true;
}

std::string KeyText(int i_key) {
  char buffer[80];
  return sg_get_sense_key_str(i_key, sizeof buffer, buffer);
}

std::string AscText(int i_asc, int i_ascq) {
  char buffer[160];
  std::string text = sg_get_asc_ascq_str(i_asc, i_ascq, sizeof buffer, buffer);
  // The library introduces the text for its own reports; here it stands alone.
  const std::string lead = "Additional sense: ";
  if (text.compare(0, lead.size(), lead) == 0) text.erase(0, lead.size());
  return text;
}

S_Decoded Decode(const std::vector<std::uint8_t>& i_sense) {
  S_Decoded decoded;
  sg_scsi_sense_hdr header;
  const int length = static_cast<int>(i_sense.size());
  if (length == 0 || !sg_scsi_normalize_sense(i_sense.data(), length, &header)) return decoded;
  decoded.valid = true;
  const bool descriptor = (i_sense[0] & 0x7F) >= 0x72;
  decoded.hasAsc = length >= (descriptor ? 4 : 14);
  decoded.key = header.sense_key;
  decoded.asc = header.asc;
  decoded.ascq = header.ascq;
  decoded.keyText = KeyText(decoded.key);
  if (decoded.hasAsc) decoded.ascText = AscText(decoded.asc, decoded.ascq);
  char report[1024];
  sg_get_sense_str(nullptr, i_sense.data(), length, 0, sizeof report, report);
  decoded.report = report;
  while (!decoded.report.empty() && decoded.report.back() == '\n') decoded.report.pop_back();
  return decoded;
}

std::string Summary(int i_key, int i_asc, int i_ascq) {
  std::string key = KeyText(i_key);
  for (char& c : key) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::string additional = AscText(i_asc, i_ascq);
  // "Invalid field ..." reads on as "invalid field ...", but acronyms
  // ("SCSI bus reset occurred") keep their capitals.
  if (additional.size() > 1 && std::islower(static_cast<unsigned char>(additional[1]))) {
    additional[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(additional[0])));
  }
  if (i_asc == 0 && i_ascq == 0) return key;
  return key + ", " + additional;
}

bool AtaRegisters(const std::vector<std::uint8_t>& i_sense, int& o_error, int& o_status) {
  if (i_sense.size() < 8) return false;
  const int format = i_sense[0] & 0x7F;
  if (format == 0x72 || format == 0x73) {
    const std::size_t end = std::min<std::size_t>(i_sense.size(), 8u + i_sense[7]);
    for (std::size_t at = 8; at + 1 < end; at += 2u + i_sense[at + 1]) {
      if (i_sense[at] == 0x09 && at + 14 <= end) {
        o_error = i_sense[at + 3];
        o_status = i_sense[at + 13];
        return true;
      }
    }
    return false;
  }
  if ((format == 0x70 || format == 0x71) && (i_sense[0] & 0x80)) {
    o_error = i_sense[3];
    o_status = i_sense[4];
    return true;
  }
  return false;
}

std::string AtaText(int i_error, int i_status) {
  static const char* const statusBits[8] = {"ERR", "IDX", "CORR", "DRQ", "DSC", "DF", "DRDY", "BSY"};
  static const char* const errorBits[8] = {"AMNF", "NM", "ABRT", "MCR", "IDNF", "MC", "UNC", "ICRC"};
  auto names = [](int i_value, const char* const* i_names) {
    std::string text;
    for (int bit = 7; bit >= 0; --bit) {
      if (i_value & (1 << bit)) text += (text.empty() ? "" : " ") + std::string(i_names[bit]);
    }
    return text.empty() ? std::string() : " (" + text + ")";
  };
  char numbers[2][8];
  std::snprintf(numbers[0], sizeof numbers[0], "0x%02X", i_status & 0xFF);
  std::snprintf(numbers[1], sizeof numbers[1], "0x%02X", i_error & 0xFF);
  return std::string("ATA status ") + numbers[0] + names(i_status, statusBits) + ", error " +
         numbers[1] + names(i_error, errorBits);
}

std::string Describe(const std::vector<std::uint8_t>& i_sense, bool i_ata) {
  const S_Decoded decoded = Decode(i_sense);
  if (!decoded.valid) return std::string();
  std::string text = decoded.hasAsc ? Summary(decoded.key, decoded.asc, decoded.ascq)
                                    : Summary(decoded.key, 0, 0);
  int error = 0, status = 0;
  if (i_ata && AtaRegisters(i_sense, error, status)) text += "; " + AtaText(error, status);
  return text;
}

std::string Hex(const std::vector<std::uint8_t>& i_bytes) {
  std::string text;
  char cell[4];
  for (std::uint8_t byte : i_bytes) {
    std::snprintf(cell, sizeof cell, "%02X", byte);
    if (!text.empty()) text += ' ';
    text += cell;
  }
  return text;
}

}  // namespace N_Sense
