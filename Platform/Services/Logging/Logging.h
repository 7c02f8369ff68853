// Everything of log lines.
#pragma once

#include "DDFileLogger.h"
#include "DDLog.h"
#include "DDLogFileInfo.h"
#include "DDLogFileManager.h"
#include "DDTTYLogger.h"
#include "LogMacros.h"
#include "NSLog.h"
