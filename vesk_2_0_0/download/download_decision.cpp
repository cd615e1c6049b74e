#include "vesk_2_0_0/download/download_decision.h"

#include "vesk_2_0_0/handler/param_keys.h"

namespace VESK
{

bool needsDownload(const DownloadFacts &facts)
{
    if (facts.verifyMode == Word::no)
        return true;
    const bool differs = facts.clientValue != facts.serverValue;
    const bool unknownOrDiffers = facts.clientValue.isEmpty() || differs;
    if (facts.verifyMode != Word::fileAttributes || facts.clientTime == -1)
        return unknownOrDiffers;
    // With equal times two empty values count as equal: peers of this version decide so.
    return facts.clientTime != facts.serverTime || differs;
}

} // namespace VESK
