// The header-field map, up to 10,000 fields.

#include <vector>

#include "bench/micro/samples.hpp"
#include "net/http/text/header_fields.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using bench::finish;
using bench::sizeOf;

std::vector<Ref<String>> namesOf(std::size_t count) {
    std::vector<Ref<String>> names;
    for (std::size_t i = 0; i < count; ++i) {
        names.emplace_back(bench::fieldName(i));
    }
    return names;
}

HeaderFields fieldsOf(std::size_t count) {
    HeaderFields fields;
    for (const Ref<String>& name : namesOf(count)) {
        setField(fields, name, name);
    }
    return fields;
}

void insert(benchmark::State& state) {
    const std::vector<Ref<String>> names = namesOf(sizeOf(state));
    std::size_t count = 0;
    while (state.KeepRunning()) {
        HeaderFields fields;
        for (const Ref<String>& name : names) {
            setField(fields, name, name);
        }
        count = fields.size();
    }
    finish(state, count == sizeOf(state));
}

/// Every name once, in another letter case than it was stored in.
void find(benchmark::State& state) {
    const HeaderFields fields = fieldsOf(sizeOf(state));
    std::vector<Ref<String>> names = namesOf(sizeOf(state));
    for (Ref<String>& name : names) {
        name = name->lowerCase();
    }
    std::size_t found = 0;
    while (state.KeepRunning()) {
        found = 0;
        for (const Ref<String>& name : names) {
            found += fields.find(name->view()) != fields.end() ? 1 : 0;
        }
    }
    finish(state, found == sizeOf(state));
}

void merge(benchmark::State& state) {
    HeaderFields fields = fieldsOf(sizeOf(state) / 2);
    const HeaderFields added = fieldsOf(sizeOf(state));
    bool isMerged = false;
    while (state.KeepRunning()) {
        isMerged = mergeFields(fields, added, false);
    }
    finish(state, isMerged && fields.size() == sizeOf(state));
}

// NOLINTBEGIN(cert-err58-cpp): the macro registers at load, as the framework wants it
BENCHMARK(insert)->Name("header_map/insert_all")->Apply(bench::logarithmicPerField);
BENCHMARK(find)->Name("header_map/find_all")->Apply(bench::logarithmicPerField);
BENCHMARK(merge)->Name("header_map/merge_all")->Apply(bench::logarithmicPerField);
// NOLINTEND(cert-err58-cpp)

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
