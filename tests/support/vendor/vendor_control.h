#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

// What tests and the stand-ins of the vendors' libraries say to each other. It lies in a shared
// library that both link, so that there is one copy of it however the stand-ins are loaded, and
// what was recorded outlives them. Any thread.
//
// A stand-in holds its client to what the vendor's header writes. What a client does wrong is a
// line of BrokenRules, also where the call answers with a failure.
namespace xv::vendor {

// Words "name=value" with blanks between them, on top of what was set before. Throws
// std::invalid_argument for a word that is not known. The environment's XV_VENDOR is set in the
// same way when the library is loaded, for programs that are no tests.
//
//   driver=11.1      version of the API that the driver has: 7.0, 8.0, 11.1 or 12.1. Sets oldest,
//                    old_presets and the modes of rate control to what such a driver has
//   oldest=7         clients of an older major version are refused when they open a session
//   old_presets=1    0: the presets that were given up with 12.1 are not there
//   hevc=1 lossless=1 fields=1       0: the encoder does not have it
//   bframes=4 hevc_bframes=0         B pictures in a row
//   max_width=4096 max_height=4096   of a picture
//   gather=0         pictures held back, as with a look-ahead, until the encoder says success
//   delay=2          pictures that come behind one before it is finished, unless the client waits
//   late_ms=0        time that an access unit takes
//   stuck=0          from the n-th access unit on none is ever finished; 0 never
//   sessions=100     that may be open at once
//   devices=1        CUDA devices
//   chunk=0          bytes of a chunk of the CUDA encoder; 0: as many as it has room for
//   begins=1         2: the CUDA encoder begins and ends each picture twice, a field at a time
//   after_close=0    1: the CUDA encoder calls back behind its close, and counts that as a call
//                    "late callbacks"; 2: it gives back only then what it writes into, too
//   hardware=1       0: no VA driver starts, as on a machine without a device. Intel's sessions on
//                    hardware open all the same: their dispatcher would go on to a real runtime
//   software=1       0: Intel's runtime has no session in software
//   busy=0           rounds in which each picture is answered with "busy" ahead of being taken
//   keep_locked=0    the n-th picture that an Intel session takes stays locked until the encoder's
//                    end
//   room_for=0       bytes that Intel's encoder wants in a bitstream buffer, beyond what it told
//   encode=full      "empty": pictures are not read, each output is the same small access unit
//   record=1         0: no calls are kept
//   fail=NAME:N:CODE the n-th call from 1 of that entry fails, with "N+" all from then on.
//                    Calls that give something up do so and fail then. Any number of them
//   lose=NAME:N      from that call on the device is lost: all calls fail
//   report=PATH      a file that broken rules, and what is still held at the end, are added to
//   trace=PATH       a file that calls are added to
void Configure(std::string_view words);

// Settings as at the start, environment excluded; nothing recorded, all counts at 0.
void Reset();

// One line for each rule that was broken, in order.
std::vector<std::string> BrokenRules();

// What clients still hold, "2 input buffer". Empty when all was given back.
std::vector<std::string> Held();

struct Call {
  std::string name;         // as exported, or as the member of the function list
  std::int64_t result = 0;  // the vendor's code
  std::string structure;    // the bytes of the call's structure when it returned
  std::string more;         // of a second one: the configuration behind initialize parameters, the
                            // GUID of a preset, the number of a capability
  template <typename T>
  T As() const {
    return Copied<T>(structure);
  }
  template <typename T>
  T MoreAs() const {
    return Copied<T>(more);
  }

 private:
  template <typename T>
  static T Copied(const std::string& bytes) {
    T value{};
    std::memcpy(&value, bytes.data(), bytes.size() < sizeof value ? bytes.size() : sizeof value);
    return value;
  }
};

// In order; those of one name, or all.
std::vector<Call> Calls(std::string_view name = {});
// How often, also where calls are not kept.
int CallCount(std::string_view name);

}  // namespace xv::vendor
