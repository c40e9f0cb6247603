"""What a solve tells of its solution."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Dict, Optional, Tuple


@dataclass(frozen=True)
class Inertia:
    """Signs of the eigenvalues of a symmetric or Hermitian matrix.

    At least so many are positive and negative; of `uncertain` others none can tell in spite of rounding. The sign of an
    eigenvalue above `bound` in magnitude is certain.
    """

    positive: int
    negative: int
    uncertain: int
    bound: float


@dataclass(frozen=True)
class ColumnQuality:
    """How good the solution of one right-hand side is.

    `backward_error` is ||b - A x|| / (||A|| ||x|| + ||b||) in infinity norms, `componentwise_error` the largest
    |b - A x| / (|A| |x| + |b|), `error_bound` a bound on the relative error of x, or None where none was asked for.
    """

    status: str
    backward_error: float
    componentwise_error: float
    error_bound: Optional[float]
    reason: str


@dataclass(frozen=True)
class Forecast:
    """What a factorization is going to take, before any number is computed."""

    factor_entries: int
    operations: float
    bytes_in_memory: float
    bytes_with_files: float
    factorize_seconds: float
    solve_seconds: float


@dataclass(frozen=True, repr=False)
class Verdict:
    """How far a solution can be trusted. It is true where the solution is accurate, and only there.

    >>> import lintrix
    >>> x, verdict = lintrix.solve([[2.0, 0.0], [0.0, 4.0]], [1.0, 1.0])
    >>> bool(verdict), verdict.status, verdict.condition
    (True, 'accurate', 2.0)
    >>> print(verdict.explain().splitlines()[0])
    The solution is accurate.

    `status` is "accurate", "degraded" or "failed", that of the worst right-hand side, `reason` says why it is not
    accurate. `road` is the way that led to x, `tried` names the others with why each was left. `residual`,
    `normal_residual` (of a system that is not square), `probe_error`, `condition`, `inertia` and `solutions` are None
    where they are not known.
    """

    status: str
    reason: str
    columns: Tuple[ColumnQuality, ...]
    residual: Optional[float]
    normal_residual: Optional[float]
    probe_error: Optional[float]
    condition: Optional[float]
    inertia: Optional[Inertia]
    solutions: Optional[str]
    road: str
    tried: Tuple[str, ...]
    ordering: Optional[str]
    perturbed_pivots: int
    refinement_steps: int
    krylov_steps: int
    reused_factor: bool
    factor_entries: int
    in_files: bool
    explanations: Tuple[str, str]

    @classmethod
    def of(cls, told: Dict[str, Any]) -> Verdict:
        """From what the native part tells."""
        told["columns"] = tuple(ColumnQuality(*column) for column in told["columns"])
        told["inertia"] = Inertia(*told["inertia"]) if told["inertia"] else None
        told["tried"] = tuple(told["tried"])
        return cls(**told)

    def __bool__(self) -> bool:
        return self.status == "accurate"

    @property
    def error_bound(self) -> Optional[float]:
        """The largest of the columns; None where there is none."""
        bounds = [column.error_bound for column in self.columns if column.error_bound is not None]
        return max(bounds, default=None)

    def explain(self, first_index: int = 0) -> str:
        """All of it in sentences; rows and columns are counted from `first_index`, 0 or 1."""
        if first_index not in (0, 1):
            raise ValueError("first_index must be 0 or 1")
        return self.explanations[first_index]

    def __repr__(self) -> str:
        lines = [f"<Verdict: {self.status}" + (f", {self.reason}" if self.reason else "")]
        figures = {
            "residual": self.residual,
            "normal equations": self.normal_residual,
            "error at most": self.error_bound,
            "probe error": self.probe_error,
            "condition": self.condition,
        }
        lines.append(f"  {'road':<17} {self.road}")
        lines += [f"  {name:<17} {value:.3g}" for name, value in figures.items() if value is not None]
        if self.inertia:
            signs = f"{self.inertia.positive} positive, {self.inertia.negative} negative"
            lines.append(f"  {'eigenvalues':<17} {signs}, {self.inertia.uncertain} uncertain")
        return "\n".join(lines) + ">"
