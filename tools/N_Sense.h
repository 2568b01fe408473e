#ifndef VEK_TOOLS_N_SENSE_H
#define VEK_TOOLS_N_SENSE_H

#include <cstdint>
#include <string>
#include <vector>

// SCSI sense data as operators read it, decoded by libsgutils2 (the
// standard's tables, not ours).
namespace N_Sense {

struct S_Decoded {
  bool valid = false;  // fixed or descriptor format that libsgutils2 understood
  // False when the data ends before the additional sense code (the module
  // may keep fewer bytes than the drive sent): asc and ascq are then 0 and
  // mean nothing.
  bool hasAsc = false;
  int key = 0;
  int asc = 0;
  int ascq = 0;
  std::string keyText;  // "Illegal Request"
  std::string ascText;  // "Invalid field in parameter list"
  std::string report;   // libsgutils2's full multi-line description
};

// The bytes of a byte attribute as the module writes them: each byte as a
// blank and a two-wide hex field (" 70  0  6"). False, o_bytes empty, when
// the text holds anything else.
bool ParseByteAttribute(const std::string& i_text, std::vector<std::uint8_t>& o_bytes);

S_Decoded Decode(const std::vector<std::uint8_t>& i_sense);
// The parts one by one, for sense that arrives as numbers (the status
// block of a deferred request).
std::string KeyText(int i_key);
std::string AscText(int i_asc, int i_ascq);

// The operator's one-line form: "ILLEGAL REQUEST, invalid field in
// parameter list" (key in capitals, then the additional sense).
std::string Summary(int i_key, int i_asc, int i_ascq);
// The ATA error and status registers that a SCSI/ATA translation puts into
// the sense data of an ATA pass-through command: an ATA Status Return
// descriptor (type 09h) in descriptor format, or the information field
// (error in byte 3, status in byte 4, VALID set) in fixed format. Only
// meaningful for the sense of an ATA pass-through block: the information
// field of other commands means something else. False when there are none.
bool AtaRegisters(const std::vector<std::uint8_t>& i_sense, int& o_error, int& o_status);
// "ATA status 0x51 (DRDY DSC ERR), error 0x04 (ABRT)": the set bits by name.
std::string AtaText(int i_error, int i_status);
// An operator's line for sense bytes: Summary() of the decoded key and
// additional sense, and for i_ata the ATA registers when present; "" for
// bytes that do not decode.
std::string Describe(const std::vector<std::uint8_t>& i_sense, bool i_ata);

// The bytes as "70 00 05 ..." (upper-case pairs, one blank between).
std::string Hex(const std::vector<std::uint8_t>& i_bytes);

}  // namespace N_Sense

#endif
