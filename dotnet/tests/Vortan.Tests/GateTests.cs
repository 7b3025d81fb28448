using System;
using System.Collections.Generic;
using System.Linq;
using System.Numerics;
using Xunit;

namespace Vortan.Tests
{
    /// <summary>Each gate, whole and fractional, bare and controlled, against its textbook matrix.</summary>
    /// <remarks>
    /// A gate's full matrix U shows in its Choi state: each target starts maximally entangled with a
    /// reference qudit, so that afterwards the amplitude of target outcome t and reference outcome r is U[t, r].
    /// </remarks>
    public class GateTests
    {
        private static readonly (string Name, double F)[] s_gates =
        {
            ("Shift", 1), ("Shift", 0.5), ("Shift", -0.3), ("X", 1), ("X", 0.25), ("Cycle", 1), ("Cycle", 0.5),
            ("Clock", 1), ("Clock", 0.5), ("Z", 1), ("Z", -1), ("Hadamard", 1), ("InverseHadamard", 1),
            ("FractionalHadamard", 1), ("FractionalHadamard", 0.5), ("FractionalHadamard", -1), ("Y", 1), ("Y", 0.5),
            ("Swap", 1), ("ISwap", 1), ("ISwap", 0.5), ("ISwap", 0.3), ("ISwap", -1), ("PhaseRotate", Math.PI / 3),
        };

        // A null control: none; true or false: a qubit control "== 1" or "!= 1".
        public static IEnumerable<object?[]> Gates() =>
            from d in new[] { 2, 3 }
            from g in s_gates
            where g.Name != "Y" || d == 2
            from control in new bool?[] { null, true, false }
            select new object?[] { g.Name, d, g.F, control };

        private static (Complex[,] Matrix, Action<Qudit[], Control[]> Apply) Gate(string name, int d, double f)
        {
            Complex[,] y(double p) => Dense.Multiply(Dense.Clock(2, 0.5), Dense.Multiply(Dense.FractionalShift(2, p), Dense.Clock(2, -0.5)));
            return name switch
            {
                "Shift" => (Dense.FractionalShift(d, f), (q, c) => q[0].Shift(f, c)),
                "X" => (Dense.FractionalShift(d, f), (q, c) => q[0].X(f, c)),
                "Cycle" => (Dense.FractionalShift(d, -f), (q, c) => q[0].Cycle(f, c)),
                "Clock" => (Dense.Clock(d, f), (q, c) => q[0].Clock(f, c)),
                "Z" => (Dense.Clock(d, f), (q, c) => q[0].Z(f, c)),
                "Y" => (y(f), (q, c) => q[0].Y(f, c)),
                "Hadamard" => (Dense.Hadamard(d), (q, c) => q[0].Hadamard(c)),
                "InverseHadamard" => (Dense.InverseHadamard(d), (q, c) => q[0].InverseHadamard(c)),
                "FractionalHadamard" => (Dense.FractionalHadamard(d, f), (q, c) => q[0].FractionalHadamard(f, c)),
                "Swap" => (Dense.Pair(d, 1, Complex.One), (q, c) => q[0].Swap(q[1], c)),
                // At 1 the overload without a fraction, which must be the power 1.
                "ISwap" => (Dense.Pair(d, f, Complex.ImaginaryOne), (q, c) =>
                {
                    if (f == 1) q[0].ISwap(q[1], c);
                    else q[0].ISwap(q[1], f, c);
                }),
                // The angle on level 1 of the target, under the table's control as well.
                "PhaseRotate" => (Dense.Build(d, (r, c) => r != c ? 0 : r == 1 ? Complex.FromPolarCoordinates(1, f) : 1), (q, c) =>
                {
                    using Control is1 = q[0].EqualTo(1);
                    Simulation.PhaseRotate(f, c.Prepend(is1).ToArray());
                }),
                _ => throw new ArgumentException(name),
            };
        }

        [Theory]
        [MemberData(nameof(Gates))]
        public void Gate_matches_its_matrix(string name, int d, double f, bool? controlIsEqual)
        {
            var (u, apply) = Gate(name, d, f);
            int count = name.EndsWith("Swap") ? 2 : 1, n = u.GetLength(0), sides = controlIsEqual is null ? 1 : 2;
            using var owned = new Owned();
            Qudit[] targets = owned.Qudits(count, d), refs = owned.Qudits(count, d);
            for (int i = 0; i < count; i++)
            {
                refs[i].Hadamard();
                for (int v = 1; v < d; v++)
                    for (int k = 0; k < v; k++) targets[i].Cycle(owned.Add(refs[i].EqualTo(v)));
            }
            var listed = targets.Concat(refs).ToList();
            var controls = Array.Empty<Control>();
            if (controlIsEqual is bool isEqual)
            {
                listed.Add(owned.Add(new Qudit(2)));
                listed[^1].Hadamard();
                controls = new[] { owned.Add(new Control(listed[^1], 1, isEqual)) };
            }
            apply(targets, controls);

            // Listed as (targets, references, control), the first the fast digit: U[t, r] where the control holds, else δ(t, r).
            var psi = new Complex[n * n * sides];
            for (int side = 0; side < sides; side++)
                for (int r = 0; r < n; r++)
                    for (int t = 0; t < n; t++)
                    {
                        Complex amplitude = controlIsEqual is null || (side == 1) == controlIsEqual ? u[t, r] : t == r ? 1 : 0;
                        psi[t + n * r + n * n * side] = amplitude / Math.Sqrt(n * sides);
                    }
            Dense.AssertClose(Dense.Outer(psi), Simulation.DensityMatrix(listed.ToArray()), $"{name}^{f} on d={d}, control {controlIsEqual}");
        }
    }
}
