// Everything of queues, groups, semaphores, timers and the main queue.
#pragma once

#include "DispatchControl.h"
#include "DispatchGroup.h"
#include "DispatchMainQueue.h"
#include "DispatchOnce.h"
#include "DispatchQueue.h"
#include "DispatchSemaphore.h"
#include "DispatchSource.h"
#include "DispatchTime.h"
