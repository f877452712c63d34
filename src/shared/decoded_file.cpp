#include "shared/decoded_file.h"

namespace tovrin {

bool mayStillChangeUnseen(const FileIdentity& identity, Date readAt) {
  constexpr double kClockDoubtSeconds = 2.0;
  return readAt - Date::fromNanoseconds(identity.modificationTimeNanoseconds) < kClockDoubtSeconds;
}

}  // namespace tovrin
