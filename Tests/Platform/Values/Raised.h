// What a call raises, as text, so that a table can expect it.
#pragma once

#include <KVTPlatform/Values/NSException.h>

#include <string>

namespace kvt {

/// "NAME: REASON" of the platform exception that the call raises; "" when it raises none.
template <class Call>
std::string raised(const Call& call) {
  try {
    static_cast<void>(call());
  } catch (const NSException& exception) {
    return exception.what();
  }
  return "";
}

/// The name alone.
template <class Call>
std::string raisedName(const Call& call) {
  const std::string text = raised(call);
  return text.substr(0, text.find(':'));
}

}  // namespace kvt
