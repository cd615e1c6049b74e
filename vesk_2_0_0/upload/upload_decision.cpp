#include "vesk_2_0_0/upload/upload_decision.h"

#include "vesk_2_0_0/handler/param_keys.h"

namespace VESK
{

bool needsUpload(const UploadFacts &facts)
{
    if (!facts.targetExists)
        return true;
    if (facts.verifyMode == Word::no)
        return facts.replace;
    const bool timeKnown = facts.clientTime != -1;
    if (facts.verifyMode == Word::fileAttributes && timeKnown && facts.clientTime != facts.targetTime)
        return true;
    return facts.targetValue != facts.clientValue;
}

} // namespace VESK
