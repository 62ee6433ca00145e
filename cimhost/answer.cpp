#include "cimhost/answer.h"

#include <fmt/format.h>

namespace cimhost {

std::string summary(const Answer& answer) {
    const std::size_t count = std::visit([](const auto& objects) { return objects.size(); }, answer.objects);
    const char* noun = std::holds_alternative<Names>(answer.objects) ? "name" : "instance";
    return fmt::format("{}, {} {}{}", broker::statusName(answer.status), count, noun, count == 1 ? "" : "s");
}

}  // namespace cimhost
