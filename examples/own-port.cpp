// A CAN port of one's own: an end point for a controller that no port of this library reaches. This one is a pair of
// pipes, standard input and standard output, with a frame a line: "605#4018100100000000".
//
//   echo '605#4018100100000000' | own-port
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

#include "KQCANPortRegistry.h"
#include "KQCANopen.h"
#include "KQDEI.h"
#include "KQEndPoint.h"
#include "KQEndPointManager.h"
#include "KQErrorCodes.h"
#include "KQTick.h"
#include "KQVariableEventDispatcher.h"

using namespace KQ;

namespace {

bool hasEnded = false;

class LinePort : public KQEndPoint {
public:
  LinePort() : KQEndPoint("lines") { fcntl(STDIN_FILENO, F_SETFL, fcntl(STDIN_FILENO, F_GETFL) | O_NONBLOCK); }

  int getDescriptor() const override { return STDIN_FILENO; }
  bool hasBufferedFrames() const override { return input.find('\n') != std::string::npos; }

protected:
  int doRead(KQCANMessage& message) override {
    char part[256];
    ssize_t count = 0;
    while (!hasBufferedFrames() && (count = read(STDIN_FILENO, part, sizeof part)) > 0) {
      input.append(part, static_cast<std::size_t>(count));
    }
    if (!hasBufferedFrames()) {
      hasEnded = count == 0;
      return KQ_NO_DATA;
    }
    const std::string line = input.substr(0, input.find('\n'));
    input.erase(0, line.size() + 1);
    unsigned int data[8] = {};
    const int fields = std::sscanf(line.c_str(), "%3x#%2x%2x%2x%2x%2x%2x%2x%2x", &message.identifier, &data[0],
                                   &data[1], &data[2], &data[3], &data[4], &data[5], &data[6], &data[7]);
    if (fields < 1) {
      return KQ_NO_DATA;
    }
    message.length = static_cast<unsigned char>(fields - 1);
    std::transform(data, data + 8, message.data, [](unsigned int byte) { return static_cast<unsigned char>(byte); });
    message.flags = 0;
    return KQ_OK;
  }

  int doWrite(const KQCANMessage& message) override {
    std::printf("%03X#", message.identifier);
    std::for_each(message.data, message.data + message.length, [](unsigned char byte) { std::printf("%02X", byte); });
    std::printf("\n");
    return std::fflush(stdout) == 0 ? KQ_OK : KQ_NOT_AVAILABLE;
  }

private:
  std::string input;
};

}  // namespace

int main() {
  KQCANPortRegistry::instance()->bindPort(0, [](std::string& /*error*/) { return std::make_unique<LinePort>(); });
  KQEndPointManager endPoints;
  KQCANopen node("own port");
  if (node.create(KQDEI::instance(), KQVariableEventDispatcher::instance(), 0, nullptr) != KQ_OK) {
    return 2;
  }
  node.subscribeToEndpointManager(&endPoints);
  node.setNodeID(5);
  node.init();
  while (!hasEnded) {
    node.process(KQTick::getTickCount() + 50);
    endPoints.wait(static_cast<int>(std::clamp(node.getTimeToNextWork(KQTick::getTickCount()), 1U, 1000U)));
  }
}
