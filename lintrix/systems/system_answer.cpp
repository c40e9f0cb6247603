#include <lintrix/systems/linear_system.h>

#include <lintrix/systems/roads/words.h>

#include <fmt/format.h>

#include <cmath>

namespace Velmar::Lintrix {

namespace {

using detail::roads::numberInWords;

void addLine(std::string& text, std::string_view line)
{
    text += line;
    text += '\n';
}

std::string inWords(const CertainInertia& inertia)
{
    const std::string text =
        fmt::format("Eigenvalues: {} positive, {} negative", inertia.positive, inertia.negative);
    if (inertia.uncertain == 0) return text + ", all of them certain.";
    const std::string bound = std::isfinite(inertia.bound)
                                  ? fmt::format(", no larger than {}", numberInWords(inertia.bound))
                                  : std::string();
    return text + fmt::format(", {} of uncertain sign{}.", inertia.uncertain, bound);
}

/// What a reader who is no numerical analyst can do about it.
std::string_view adviceFor(Verdict verdict, bool isSingular, bool isDeficient, bool isFinite)
{
    if (verdict == Verdict::Accurate) return "nothing has to be done";
    if (!isFinite) return "look for where it comes from: a division by zero, an overflow, a value never set";
    if (isDeficient)
        return "equations that say the same may go; conditions on the unknowns that are left free would "
               "leave "
               "one solution";
    if (isSingular) return "look for rows that say the same, and for unknowns that nothing determines";
    if (verdict == Verdict::Degraded)
        return "trust as many digits as are told; better scaled or better posed equations would give more";
    return "do not use the numbers: look at the equations, their units, and what determines each unknown";
}

} // namespace

template <class Cell>
std::string SystemAnswer<Cell>::Explain(std::int32_t firstIndex) const
{
    std::string text;
    if (verdict == Verdict::Failed)
        addLine(text, fmt::format("There is no good solution: {}.", reason));
    else
        addLine(text,
                fmt::format("The solution is {}{}{}.", NameOf(verdict), reason.empty() ? "" : ": ", reason));
    const bool isShortest = reason.find("shortest") != std::string::npos;
    if (solutions == Solutions::Many)
        addLine(text, std::string("The right-hand side is in the range of the matrix: ") +
                          (verdict == Verdict::Failed ? "there are many solutions."
                           : isShortest               ? "x is one of many solutions, the shortest."
                                                      : "x is one of many solutions."));
    if (solutions == Solutions::None)
        addLine(text, "The right-hand side is not in the range of the matrix: nothing solves the system.");
    if (!faults.Empty())
        addLine(text, fmt::format("{} (They are counted from {}.)", faults.InWords(firstIndex), firstIndex));
    if (residual)
        addLine(text, fmt::format("Its scaled residual is {}; rounding explains 1e-16 to {:.0e}.",
                                  numberInWords(*residual), kRoundingLevel));
    if (normalResidual)
        addLine(text, fmt::format("That of the normal equations is {}.", numberInWords(*normalResidual)));
    if (probeError)
        addLine(text, fmt::format("A known solution came back with a relative error of {}.",
                                  numberInWords(*probeError)));
    if (condition) addLine(text, fmt::format("The condition number is about {}.", numberInWords(*condition)));
    if (inertia) addLine(text, inWords(*inertia));
    addLine(text, fmt::format("Road: {}.", road));
    if (perturbedPivots > 0)
        addLine(text, fmt::format("Pivots replaced: {}; steps of refinement {}, of GMRES {}.",
                                  perturbedPivots, refinementSteps, krylovSteps));
    if (reusedFactor)
        addLine(text, fmt::format("Preconditioned by the factor of earlier values: {} steps of GMRES.",
                                  krylovSteps));
    for (std::size_t j = 0; j < columns.size(); ++j) {
        const ColumnQuality& column = columns[j];
        if (column.errorBound)
            addLine(text, fmt::format("Right-hand side {}: {}, error at most {}.", j + 1,
                                      NameOf(column.verdict), numberInWords(*column.errorBound)));
        else if (columns.size() > 1 && !column.reason.empty())
            addLine(text,
                    fmt::format("Right-hand side {}: {}, {}.", j + 1, NameOf(column.verdict), column.reason));
    }
    for (const std::string& other : tried) addLine(text, fmt::format("Left: {}.", other));
    const bool isSingular = reason.find("singular") != std::string::npos;
    const bool isDeficient = reason.find("rank-deficient") != std::string::npos;
    const bool isFinite = reason != "the matrix is not finite";
    addLine(text, fmt::format("Advice: {}.", adviceFor(verdict, isSingular, isDeficient, isFinite)));
    return text;
}

template struct SystemAnswer<double>;
template struct SystemAnswer<std::complex<double>>;

} // namespace Velmar::Lintrix
