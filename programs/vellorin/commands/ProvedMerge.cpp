#include "ProvedMerge.h"

#include "ExitStatus.h"
#include "SyncProof.h"
#include "VaultMerge.h"

#include <optional>

NSData provedMerge(const VaultContents& a, const VaultContents& b, const VaultContents* base)
{
    NSData merged = mergeVaults(a, b, base);
    const VaultContents output(merged);
    if (const std::optional<std::string> reason = reasonNotProved(a, b, { &output }))
        throw CommandFailure(kFailed, "the merge can't be proved, and nothing was written: " + *reason);
    return merged;
}
