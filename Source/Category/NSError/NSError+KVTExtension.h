// How this library and its clients make their errors.
//
//     NSError error = kvt_errorWithCode_description(-1, "the disk is full");
//     error.domain();                    // com.vultex.brisko
//     error.localizedDescription();      // the disk is full
//
// None of them fails or raises: a description or reason that is no text counts as none. Text is copied.
#pragma once

#include <KVTPlatform/Values/Boxed.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSString.h>

namespace kvt {

/// The details are the description under NSLocalizedDescriptionKey; there are none without a description, or with an
/// empty one.
KVT_EXPORT NSError kvt_errorWithDomain_code_description(const NSString& domain, NSInteger code,
                                                        const Boxed& description);

/// Of the domain "com.vultex.brisko". The details always hold both NSLocalizedDescriptionKey and
/// NSLocalizedFailureReasonErrorKey, "" where none is given.
KVT_EXPORT NSError kvt_errorWithCode_description_failureReason(NSInteger code, const Boxed& description,
                                                               const Boxed& failureReason);
/// The same with the reason "".
KVT_EXPORT NSError kvt_errorWithCode_description(NSInteger code, const Boxed& description);

}  // namespace kvt
