#include "tools/N_FileCommands.h"

#include <fmt/core.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "ddff/C_DDFF.h"
#include "ddff/C_DeferScsiTarget.h"
#include "foundation/C_File.h"
#include "foundation/C_HexConverter.h"
#include "tools/C_FlashJob.h"
#include "tools/N_ExitStatus.h"
#include "tools/N_FileIo.h"
#include "tools/N_StandardProgram.h"

#include "cloak/C_CloakedFile.h"

using nlohmann::json;

namespace N_FileCommands {

namespace {

std::uint32_t RequestFlags(const std::vector<std::string>& i_names) {
  std::uint32_t flags = 0;
  for (const std::string& name : i_names) {
    if (name == "debug") flags |= DDFF::DDFF_RQ_DEBUG;
    if (name == "downgrade") flags |= DDFF::DDFF_RQ_DOWNGRADE;
    if (name == "reflash") flags |= DDFF::DDFF_RQ_REFLASH;
    if (name == "fast") flags |= DDFF::DDFF_RQ_FAST;
  }
  return flags;
}

// Reads and checks a request file; 4 with the module's message when the
// request is not valid.
std::vector<std::uint8_t> ReadRequest(const std::string& i_path, C_DDFF& o_request) {
  std::vector<std::uint8_t> bytes = N_FileIo::Read(i_path);
  try {
    o_request.Read(bytes.data(), bytes.size(), i_path);
  } catch (const C_DDFF::C_Exception& e) {
    throw C_Failure(N_ExitStatus::VERIFY_FAILED, i_path + ": not a valid request: " + e.what());
  }
  return bytes;
}

// The module's reason without its frame, which names the class.
std::string CloakReason(const C_CloakedFile::C_CloakException& i_exception) {
  std::string reason = i_exception.GetText().Format("<MSG>");
  if (!reason.empty()) {
    reason[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(reason[0])));
  }
  return reason.empty() ? i_exception.what() : reason;
}

}  // namespace

int DdffBuild(const S_Options& i_options, C_Printer& io_printer) {
  const std::vector<std::uint8_t> image = N_FileIo::Read(i_options.image);
  if (image.empty())
    throw C_Failure(N_ExitStatus::FAILED, i_options.image + ": the image is empty");
  if (image.size() > 0xFFFFFFFFu)
    throw C_Failure(N_ExitStatus::FAILED, i_options.image + ": too large");
  C_DDFF request;
  if (!i_options.vendor.empty()) request.SetDriveVendorId(i_options.vendor);
  if (!i_options.product.empty()) request.SetDriveProductId(i_options.product);
  if (!i_options.revision.empty()) {
    request.SetDriveRevision(i_options.revision);
    request.SetRomOldRevision(i_options.revision);
  }
  if (!i_options.serial.empty()) request.SetDriveSerialNumber(i_options.serial);
  request.SetRequestFlags(RequestFlags(i_options.flags));
  N_StandardProgram::Add(request, static_cast<std::uint32_t>(image.size()));
  request.SetRomImage(image.data(), static_cast<std::uint32_t>(image.size()));
  std::uint32_t size;
  const std::uint8_t* bytes;
  try {
    size = request.GetRequestSize();
    bytes = request.GetRequest();
  } catch (const C_DDFF::C_Exception& e) {
    throw C_Failure(N_ExitStatus::FAILED,
                    i_options.image + ": cannot build the request: " + e.what());
  }
  N_FileIo::WriteAtomically(i_options.output, bytes, size);
  if (size > C_FlashJob::DEFERRED_LIMIT) {
    io_printer.Warning(
        fmt::format("{}: {} bytes is more than one deferred request can carry to a drive ({})",
                    i_options.output, size, C_FlashJob::DEFERRED_LIMIT));
  }
  io_printer.Line(fmt::format("{}: request of {} bytes, {} instructions, image {} bytes",
                              i_options.output, size, request.GetInstructionCount(), image.size()));
  io_printer.Json(json{{"file", i_options.output},
                       {"bytes", size},
                       {"instructions", request.GetInstructionCount()},
                       {"imageBytes", image.size()},
                       {"flags", request.GetRequestFlags()}});
  return N_ExitStatus::SUCCESS;
}

int DdffDump(const S_Options& i_options, C_Printer& io_printer) {
  C_DDFF request;
  ReadRequest(i_options.file, request);
  std::ostringstream report;
  request.Dump(report);
  if (io_printer.JsonMode()) {
    json lines = json::array();
    std::istringstream in(report.str());
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    io_printer.Json(json{{"file", i_options.file}, {"report", lines}});
  } else {
    std::string text = report.str();
    if (!text.empty() && text.back() == '\n') text.pop_back();
    io_printer.Line(text);
  }
  return N_ExitStatus::SUCCESS;
}

int DdffVerify(const S_Options& i_options, C_Printer& io_printer) {
  C_DDFF request;
  ReadRequest(i_options.file, request);
  // Named as the drive's "DeferResult": a single status bit by name,
  // anything else in hexadecimal.
  const std::string status = C_DeferScsiTarget::GetResultText(request.GetStatus().status);
  io_printer.Line(
      fmt::format(
          "{}: valid request: {} instructions, image {} bytes, status {}, for {} {} {} at {}",
          i_options.file, request.GetInstructionCount(), request.GetDataSize(), status,
          request.GetDriveVendorId(), request.GetDriveProductId(), request.GetDriveSerialNumber(),
          request.GetDriveRevision()),
      C_Printer::GREEN);
  io_printer.Json(json{{"file", i_options.file},
                       {"valid", true},
                       {"instructions", request.GetInstructionCount()},
                       {"imageBytes", request.GetDataSize()},
                       {"status", status},
                       {"flags", request.GetRequestFlags()},
                       {"vendor", request.GetDriveVendorId()},
                       {"product", request.GetDriveProductId()},
                       {"serial", request.GetDriveSerialNumber()},
                       {"revision", request.GetDriveRevision()}});
  return N_ExitStatus::SUCCESS;
}


int Cloak(const S_Options& i_options, C_Printer& io_printer) {
  const std::vector<std::uint8_t> plain = N_FileIo::Read(i_options.input);
  // The module writes in place: cloak into the temporary file of an atomic
  // replacement, which only Close renames, once it is whole and synced; a
  // failure (the output's destructor) loses nothing.
  C_File output;
  const auto fail = [&](const std::string& i_reason) {
    throw C_Failure(N_ExitStatus::FAILED, i_options.output + ": " + i_reason);
  };
  if (!output.OpenReplace(i_options.output)) {
    fail(std::string("cannot create the cloaked file: ") + std::strerror(errno));
  }
  C_CloakedFile file;
  try {
    errno = 0;
    if (!file.OpenOutput(output.GetWritePath())) {
      fail("cannot create the cloaked file" +
           (errno ? std::string(": ") + std::strerror(errno) : std::string()));
    }
    const std::uint32_t size = static_cast<std::uint32_t>(plain.size());
    if (file.Write(plain.data(), size) != size) fail("cannot write the cloaked file");
    file.Close();
  } catch (const C_CloakedFile::C_CloakException& e) {
    fail(CloakReason(e));
  }
  if (!output.Close()) fail(std::string("cannot write the cloaked file: ") + std::strerror(errno));
  io_printer.Line(fmt::format("{}: {} bytes cloaked", i_options.output, plain.size()));
  io_printer.Json(json{{"file", i_options.output}, {"bytes", plain.size()}});
  return N_ExitStatus::SUCCESS;
}

int Uncloak(const S_Options& i_options, C_Printer& io_printer) {
  std::vector<std::uint8_t> plain;
  C_CloakedFile file;
  try {
    if (!file.OpenInput(i_options.input))
      N_FileIo::Read(i_options.input);  // throws with the reason
    std::uint8_t buffer[65536];
    while (const std::uint32_t n = file.Read(buffer, sizeof buffer))
      plain.insert(plain.end(), buffer, buffer + n);
    file.Close();
  } catch (const C_CloakedFile::C_CloakException& e) {
    // A header that cannot be read or is wrong: not a cloaked file at all.
    const bool header = e.GetErrno() == C_CloakedFile::ERRNO_READ_HEADER ||
                        e.GetErrno() == C_CloakedFile::ERRNO_BAD_HEADER;
    throw C_Failure(N_ExitStatus::FAILED, i_options.input + ": " +
                                              (header ? "not a cloaked file: " : "") +
                                              CloakReason(e));
  }
  N_FileIo::WriteAtomically(i_options.output, plain.data(), plain.size());
  io_printer.Line(fmt::format("{}: {} bytes uncloaked", i_options.output, plain.size()));
  io_printer.Json(json{{"file", i_options.output}, {"bytes", plain.size()}});
  return N_ExitStatus::SUCCESS;
}



int Hexdump(const S_Options& i_options, C_Printer& io_printer) {
  const std::vector<std::uint8_t> bytes = N_FileIo::Read(i_options.file);
  if (bytes.size() > 0xFFFFFFFFu)
    throw C_Failure(N_ExitStatus::FAILED, i_options.file + ": too large");
  C_HexConverter converter;
  std::string text = converter.Convert(bytes.data(), static_cast<unsigned>(bytes.size()));
  if (!text.empty() && text.back() == '\n') text.pop_back();
  if (!text.empty()) io_printer.Line(text);
  if (io_printer.JsonMode()) {
    json lines = json::array();
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    io_printer.Json(json{{"file", i_options.file}, {"bytes", bytes.size()}, {"lines", lines}});
  }
  return N_ExitStatus::SUCCESS;
}

}  // namespace N_FileCommands
