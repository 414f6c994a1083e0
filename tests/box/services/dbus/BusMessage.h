#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

/// A D-Bus message to write, seal and read. It is never sent.
class BusMessage {
 public:
  BusMessage() {
    int sockets[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
    _other = sockets[1];
    sd_bus_new(&_bus);
    sd_bus_set_fd(_bus, sockets[0], sockets[0]);
    sd_bus_start(_bus);
    sd_bus_message_new_signal(_bus, &message, "/a", "a.b", "C");
  }
  ~BusMessage() {
    sd_bus_message_unref(message);
    sd_bus_close_unref(_bus);
    close(_other);
  }
  BusMessage(const BusMessage&) = delete;
  BusMessage& operator=(const BusMessage&) = delete;
  void seal() const {
    ASSERT_GE(sd_bus_message_seal(message, 1, 0), 0);
    ASSERT_GE(sd_bus_message_rewind(message, 1), 0);
  }

  sd_bus_message* message = nullptr;

 private:
  sd_bus* _bus = nullptr;
  int _other = -1;
};
