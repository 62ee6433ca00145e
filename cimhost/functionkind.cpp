// The kinds of functions that pictures tell apart by colour. Tests: tests/cimhost/picture_test.cpp.

#include "cimhost/functionkind.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace cimhost {

namespace {

// clang-format off
/** What class codes, or the base classes that they begin with, count as; the first that fits. */
constexpr std::pair<const char*, const char*> kWords[] = {
    {"01", "storage"},
    {"0c:06", "network"}, {"02", "network"}, {"0d", "network"},  // InfiniBand is among the serial buses, radio apart
    {"03", "display"}, {"04", "multimedia"}, {"05", "memory"}, {"06", "bridge"}, {"07", "communication"},
    {"0c", "serial"}, {"0b", "processor"}, {"12", "processor"}, {"40", "processor"},
    {"08", "system"}, {"10", "encryption"}, {"11", "signal"}};
// clang-format on

}  // namespace

const std::vector<FunctionKind>& functionKinds() {
    static const std::vector<FunctionKind> kinds = {
        {"Network", "network", {"#dbeafe", "#2563eb", "#1e3a8a"}, {"#172554", "#60a5fa", "#bfdbfe"}},
        {"Storage", "storage", {"#dcfce7", "#16a34a", "#14532d"}, {"#052e16", "#4ade80", "#bbf7d0"}},
        {"Display", "display", {"#f3e8ff", "#9333ea", "#581c87"}, {"#3b0764", "#c084fc", "#e9d5ff"}},
        {"Multimedia", "multimedia", {"#fce7f3", "#db2777", "#831843"}, {"#500724", "#f472b6", "#fbcfe8"}},
        {"Processor", "processor", {"#fee2e2", "#dc2626", "#7f1d1d"}, {"#450a0a", "#f87171", "#fecaca"}},
        {"Encryption", "encryption", {"#ecfccb", "#65a30d", "#365314"}, {"#1a2e05", "#a3e635", "#d9f99d"}},
        {"Serial bus", "serial", {"#fef9c3", "#ca8a04", "#713f12"}, {"#422006", "#facc15", "#fef08a"}},
        {"Communication", "communication", {"#ffedd5", "#ea580c", "#7c2d12"}, {"#431407", "#fb923c", "#fed7aa"}},
        {"Signal processing", "signal", {"#fae8ff", "#a21caf", "#701a75"}, {"#4a044e", "#e879f9", "#f5d0fe"}},
        {"Memory", "memory", {"#ccfbf1", "#0d9488", "#134e4a"}, {"#042f2e", "#2dd4bf", "#99f6e4"}},
        {"System", "system", {"#e0f2fe", "#0891b2", "#164e63"}, {"#083344", "#22d3ee", "#a5f3fc"}},
        {"Bridge", "bridge", {"#e2e8f0", "#64748b", "#1e293b"}, {"#27303f", "#94a3b8", "#e2e8f0"}},
        {"Other", "other", {"#ffffff", "#a8a29e", "#44403c"}, {"#1c1917", "#a8a29e", "#e7e5e4"}}};
    return kinds;
}

const FunctionKind& kindOf(const Function& function) {
    const std::vector<FunctionKind>& kinds = functionKinds();
    const auto word = std::find_if(std::begin(kWords), std::end(kWords),
                                   [&](const auto& each) { return function.classCode.rfind(each.first, 0) == 0; });
    if (word == std::end(kWords)) return kinds.back();
    return *std::find_if(kinds.begin(), kinds.end(),
                         [&](const FunctionKind& kind) { return std::string(kind.word) == word->second; });
}

}  // namespace cimhost
