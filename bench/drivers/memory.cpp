// How much memory both ends of a connection take when a sender has sent all it may and nobody reads.
// Usage: bench_memory ROUNDS; prints megabytes of both ends together.

#include "bench/drivers/connection.h"
#include "bench/drivers/stopwatch.h"
#include "transport/udt_library.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <vector>

using namespace VESK;
using namespace VESK::Bench;

namespace
{

constexpr int block = 1 << 20; // bytes
constexpr int patienceMs = 1000; // nothing fits any more when a block has waited for so long

double residentMegabytes()
{
    long whole = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> whole >> resident;
    return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1e6;
}

void fill(UDTSOCKET socket)
{
    const std::vector<char> bytes(block, 'x');
    (void)UDT::setsockopt(socket, 0, UDT_SNDTIMEO, &patienceMs, sizeof patienceMs);
    while (UDT::send(socket, bytes.data(), block, 0) > 0) { }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2)
        return 2;
    const UdtLibrary library;
    std::vector<std::unique_ptr<Connection>> kept; // whose memory is not taken over by the next
    for (int round = 0; round < std::atoi(argv[1]); ++round) {
        const double before = residentMegabytes();
        kept.push_back(std::make_unique<Connection>(Options::Ours));
        fill(kept.back()->client());
        report("both_ends", residentMegabytes() - before);
    }
    return 0;
}
