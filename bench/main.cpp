// Runs the pairs interleaved, several times, and prints the ratio of the medians of their CPU times. On Linux
// "--peak" prints how much memory revocation lists and the decryption of a long stream take, as a multiple of each, and
// idle TLS connections.

#include <cstdio>
#include <cstring>
#include <map>

#include "Pairs.h"
#include "PeakMemory.h"

namespace {

/** Collects the medians; the table comes at the end. */
class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter() : ConsoleReporter(OO_Defaults) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                const std::string& name = run.run_name.function_name;
                const size_t slash = name.rfind('/');
                m_medians[name.substr(0, slash)][name.substr(slash + 1)] = run.GetAdjustedCPUTime();
            }
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n%-60s %6s %13s\n", "CPU time as a multiple of OpenSSL called directly", "ratio", "ours, us");
        for (const auto& [job, median] : m_medians) {
            if (median.count("ours") != 0 && median.count("raw") != 0) {
                const double ours = median.at("ours");
                std::printf("%-60s %6.3f %13.2f\n", job.c_str(), ours / median.at("raw"), ours / 1000);
            }
        }
    }

private:
    std::map<std::string, std::map<std::string, double>> m_medians;
};

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--peak") == 0) {
        return printPeakMemory();
    }
    std::vector<char*> arguments(argv, argv + argc);
    char repetitions[] = "--benchmark_repetitions=15";
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    char aggregates[] = "--benchmark_report_aggregates_only=true";
    // Before the user's own, so that those win.
    arguments.insert(arguments.begin() + 1, {repetitions, interleaving, aggregates});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
