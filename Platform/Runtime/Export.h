// Visibility of what the shared libraries export; everything else is hidden.
#pragma once

#define KVT_EXPORT __attribute__((visibility("default")))
