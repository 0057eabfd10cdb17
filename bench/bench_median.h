// Samples of the end-of-run summaries, one per benchmark run (each repetition records one): the
// summaries print their medians, so that one slow repetition on a shared machine does not set the
// printed ratio (a plain map would keep whichever repetition ran last).
#ifndef BENCH_MEDIAN_H
#define BENCH_MEDIAN_H

#include <algorithm>
#include <map>
#include <string>
#include <vector>

struct MedianMap {
    std::map<std::string, std::vector<double>> samples;
    void add(const std::string& key, double x) { samples[key].push_back(x); }
    bool count(const std::string& key) const { return samples.count(key) != 0; }
    double operator[](const std::string& key) const {
        std::vector<double> s = samples.at(key);
        std::sort(s.begin(), s.end());
        const size_t n = s.size();
        return n % 2 ? s[n / 2] : 0.5 * (s[n / 2 - 1] + s[n / 2]);
    }
};

#endif  // BENCH_MEDIAN_H
