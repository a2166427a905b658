#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace velquor::bench {

// libiscsi's iscsi-perf: sequential reads until interrupted, printing the rate of the past
// second once a second ("00:00:02 - lba …, iops current 12718 (794 MB/s), …", MB meaning MiB).
class IscsiPerf {
public:
    struct Rate {
        double megabytesPerSecond = 0;
        double iops = 0;
    };

    IscsiPerf(std::filesystem::path folder, int blocksPerRequest, int maxRequests);

    // Reads for the given seconds; the rate over seconds 2 to the last, as the first holds the
    // login and a ramp. Throws std::runtime_error with its output when it printed none of them.
    Rate measure(const std::string& lunUrl, int seconds) const;

    // The per-second rates printed for seconds firstSecond to lastSecond, in order.
    static std::vector<Rate> parse(const std::string& output, int firstSecond, int lastSecond);

    int blocksPerRequest() const noexcept { return m_blocksPerRequest; }
    int maxRequests() const noexcept { return m_maxRequests; }

private:
    std::filesystem::path m_folder;
    int m_blocksPerRequest;
    int m_maxRequests;
};

} // namespace velquor::bench
