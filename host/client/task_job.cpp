#include "host/client/task_job.h"

#include "host/text.h"

namespace VESK::Host
{

TaskJob listingOf(const RemoteAddress &place)
{
    TaskJob job;
    job.operation = Operation::List;
    job.shownName = escaped(place.path.isEmpty() ? place.share : place.share + QLatin1Char('/') + place.path);
    job.share = place.share;
    job.rootPath = place.path;
    job.userName = place.user;
    return job;
}

} // namespace VESK::Host
