#include "bench/IscsiPerf.h"

#include "bench/FileText.h"
#include "bench/Interruption.h"
#include "support/harness/ChildProcess.h"
#include "support/harness/SystemTool.h"

#include <csignal>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace velquor::bench {

namespace {

using namespace std::chrono_literals;

} // namespace

IscsiPerf::IscsiPerf(std::filesystem::path folder, int blocksPerRequest, int maxRequests)
    : m_folder(std::move(folder)), m_blocksPerRequest(blocksPerRequest),
      m_maxRequests(maxRequests) {}

IscsiPerf::Rate IscsiPerf::measure(const std::string& lunUrl, int seconds) const {
    const auto output = m_folder / "iscsi-perf.out";
    {
        harness::ChildProcess perf(
            harness::SystemTool::find("iscsi-perf"),
            {"-b", std::to_string(m_blocksPerRequest), "-m", std::to_string(m_maxRequests), lunUrl},
            output);
        // Half a second past the last full second, so that its line is out but the drain
        // after the interrupt is not counted.
        Interruption::sleepFor(std::chrono::milliseconds(seconds * 1000 + 500));
        perf.signal(SIGINT);
        if (!perf.waitForExit(5s)) {
            throw std::runtime_error("iscsi-perf did not stop on SIGINT");
        }
    }
    const auto text = contentOf(output);
    const auto rates = parse(text, 2, seconds);
    if (rates.empty()) {
        throw std::runtime_error("iscsi-perf printed no full second: " + text);
    }
    Rate mean;
    for (const auto& rate : rates) {
        mean.megabytesPerSecond += rate.megabytesPerSecond;
        mean.iops += rate.iops;
    }
    mean.megabytesPerSecond /= static_cast<double>(rates.size());
    mean.iops /= static_cast<double>(rates.size());
    return mean;
}

std::vector<IscsiPerf::Rate> IscsiPerf::parse(const std::string& output, int firstSecond,
                                              int lastSecond) {
    static const std::regex line(
        R"((\d+):(\d\d):(\d\d) - [^\r\n]*?iops current (\d+) \((\d+) MB/s\))");
    std::vector<Rate> rates;
    for (auto match = std::sregex_iterator(output.begin(), output.end(), line);
         match != std::sregex_iterator(); ++match) {
        const auto second =
            std::stoi((*match)[1]) * 3600 + std::stoi((*match)[2]) * 60 + std::stoi((*match)[3]);
        if (second >= firstSecond && second <= lastSecond) {
            rates.push_back({std::stod((*match)[5]), std::stod((*match)[4])});
        }
    }
    return rates;
}

} // namespace velquor::bench
