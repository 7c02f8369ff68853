// Log lines: one that no logger takes, by the library's own word and by the class operation, and one that is taken.

#include <KVTPlatform/Services/Logging/Logging.h>

#include "Support/Harness.h"

namespace {

using namespace kvt;

class Nowhere : public DDLogger {
 public:
  void logMessage(const Ref<DDLogMessage>&) override {}
  KVT_CLASS(Nowhere)
};

void classOperation(const NSString& name) {
  DDLog::log_level_flag_context_file_function_line_tag_format(true, 0x700007, DDLogFlagInfo, 0x700000, __FILE__,
                                                              __func__, __LINE__, nullptr, "%@ has %d", name, 3);
}

const bool lines = bench::suite("kvt", "log", [](bench::Suite& suite) {
  const NSString name = "name";
  suite.op("untaken", [name] { KVT_LOG_INFO("%@ has %d", name, 3); });
  suite.op("untaken-operation", [name] { classOperation(name); });
  suite.op("taken", [name] {
    static const Ref<DDLogger> logger = make<Nowhere>();
    DDLog::addLogger(logger);
    KVT_LOG_ERROR("%@ has %d", name, 3);
    DDLog::removeLogger(logger);
  });
});

}  // namespace
