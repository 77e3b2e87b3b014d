#include "SDOPartner.h"

namespace fuzz {

namespace {

constexpr unsigned int TO_RESPONSES = 0x80;  // a channel's requests lie so much above its responses
constexpr unsigned char TOGGLE = 0x10;

void fillWith(KQ::KQCANMessage& message, unsigned int first, Input& input) {
  for (unsigned int i = first; i < 8; ++i) {
    message.data[i] = input.byte();
  }
}

// An expedited answer of any size, or the beginning of a segmented one.
void answerUpload(KQ::KQCANMessage& answer, unsigned char choice, Input& input) {
  answer.data[0] = (choice & 1U) != 0 ? static_cast<unsigned char>(0x41) : static_cast<unsigned char>(0x43);
  if (answer.data[0] == 0x43) {
    answer.data[0] = static_cast<unsigned char>(0x43U | (choice & 0x0CU));
  }
  fillWith(answer, 4, input);
}

void answerUploadSegment(KQ::KQCANMessage& answer, unsigned char toggle, unsigned char choice, Input& input) {
  const unsigned int last = (choice & 1U) != 0 ? 1U | (choice & 0x0EU) : 0U;
  answer.data[0] = static_cast<unsigned char>(toggle | last);
  fillWith(answer, 1, input);
}

}  // namespace

KQ::KQCANMessage SDOPartner::answer(const KQ::KQCANMessage& request, Input& input) {
  const unsigned char choice = input.byte();
  const unsigned char toggle = request.data[0] & TOGGLE;
  KQ::KQCANMessage answer = request;  // with its object
  answer.identifier -= TO_RESPONSES;
  switch (request.data[0] >> 5) {
    case 0:
      answer.data[0] = static_cast<unsigned char>(0x20U | toggle);
      break;
    case 1:
      answer.data[0] = 0x60;
      break;
    case 2:
      answerUpload(answer, choice, input);
      break;
    case 3:
      answerUploadSegment(answer, toggle, choice, input);
      break;
    default:
      break;
  }
  if (choice >= 0xF0) {
    answer.data[(choice >> 1) & 3U] ^= static_cast<unsigned char>(1U << (choice & 7U));
  }
  return answer;
}

KQ::KQCANMessage SDOPartner::goOn(const KQ::KQCANMessage& response, Input& input) {
  const unsigned char choice = input.byte();
  KQ::KQCANMessage request;
  request.identifier = response.identifier + TO_RESPONSES;
  // The first segment has no toggle, each of the others the other one than the segment before.
  const bool isFirst = response.data[0] >> 5 != 0;
  const unsigned int toggle = isFirst ? 0U : (response.data[0] & TOGGLE) ^ TOGGLE;
  request.data[0] = static_cast<unsigned char>(0x60U | toggle);
  if (choice >= 0xF0) {
    request.data[0] ^= static_cast<unsigned char>(choice << 1);
  }
  return request;
}

}  // namespace fuzz
