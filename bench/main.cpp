// Runs the pairs interleaved, several times, and prints the ratio of the medians of their CPU times. On Linux
// "--peak" prints how much memory the decryption of a long stream takes, as a multiple of the stream.

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
        std::printf("\n%-55s %s\n", "CPU time as a multiple of OpenSSL called directly", "ratio");
        for (const auto& [job, median] : m_medians) {
            if (median.count("ours") != 0 && median.count("raw") != 0) {
                std::printf("%-55s %.2f\n", job.c_str(), median.at("ours") / median.at("raw"));
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
