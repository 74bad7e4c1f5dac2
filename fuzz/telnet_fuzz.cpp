// The receive path of the telnet server, over a loopback connection, against a simple model.
//
// The first byte chooses the size of the line buffer, the rest is what the client sends.

#include <algorithm>

#include <fuzz/FuzzInput.h>
#include <tests/support/TelnetScene.h>

// Lines are compared by what they hold together: the data without line ends. A failure can't come in
// between, since the client ends its direction in order.
static std::string WithoutLineEnds(std::string data) {
  data.erase(std::remove_if(data.begin(), data.end(),
                            [](char c) { return c == '\r' || c == '\n' || c == '\0'; }),
             data.end());
  return data;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static TelnetServer server;
  FUZZ_CHECK(server.listening);
  FuzzInput input(data, size);
  const size_t room = 1 + input.TakeByte() % 40;
  const std::vector<char> sent = input.TakeBytes(2048); // The answers fit the system's buffers.
  TelnetModel model;
  model.Take(std::string(sent.begin(), sent.end()));

  TelnetScene scene(server);
  FUZZ_CHECK(scene.connection != nullptr);
  FUZZ_CHECK(scene.client.Send(std::string(sent.begin(), sent.end())));
  scene.client.EndSending();

  std::string lines;
  std::vector<char> buffer(room);
  for (;;) {
    std::fill(buffer.begin(), buffer.end(), '\r'); // No byte of a line.
    const int64_t count = qelTelnet_ReadLine(scene.connection, buffer.data(), room);
    FUZZ_CHECK(count >= -1 && count <= static_cast<int64_t>(room));
    lines += WithoutLineEnds(std::string(buffer.begin(), buffer.end()));
    if (count < 0)
      break;
  }
  FUZZ_CHECK(lines == WithoutLineEnds(model.data));
  FUZZ_CHECK((scene.connection->socket == qelSocketInvalid) == model.closed);
  if (!model.closed) {
    ::shutdown(static_cast<qelSocketNative>(scene.connection->socket), 1);
    FUZZ_CHECK(scene.client.ReceiveAll() == model.replies);
  }
  scene.client.Reset(); // So that ports are free again at once.
  return 0;
}
