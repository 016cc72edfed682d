#pragma once
// What travels between the library and a driver stand-in that answers on the socket /dev/nas1: one packet
// (SOCK_SEQPACKET) per request, one per reply, any number of requests on a connection.

#include <cstdint>

struct DriverWireRequest {
  std::uint32_t request;    // ioctl request code, such as 0x4809
  std::uint32_t argument;   // the value handed over; 0 for a query
  std::uint32_t replySize;  // most record bytes the caller takes; 0 unless the driver is to fill a record
};
static_assert(sizeof(DriverWireRequest) == 12);

// Followed by the record's bytes, never more than replySize of them.
struct DriverWireReply {
  std::int32_t result;  // what ioctl would have returned
  std::int32_t error;   // errno when result is negative, else 0
};
static_assert(sizeof(DriverWireReply) == 8);
