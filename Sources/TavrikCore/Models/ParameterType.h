#pragma once

#include <QString>
#include <array>
#include <optional>

namespace tavrik {

enum class ParameterType { text, date, number, filePath, searchTerm };

inline constexpr std::array kAllParameterTypes{ParameterType::text, ParameterType::date,
                                               ParameterType::number, ParameterType::filePath,
                                               ParameterType::searchTerm};

QString toString(ParameterType type);
std::optional<ParameterType> parameterTypeFromString(QStringView text);

} // namespace tavrik
