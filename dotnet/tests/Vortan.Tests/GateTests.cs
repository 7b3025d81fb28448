using System;
using System.Collections.Generic;
using System.Numerics;
using Xunit;

namespace Vortan.Tests
{
    /// <summary>Each gate, whole and fractional, against its textbook matrix, read back through the density matrix.</summary>
    public class GateTests
    {
        // A basis input shows each column up to a phase; the uniform input ties the columns' phases together.
        private static IEnumerable<(string Name, Complex[] Psi, Action<Qudit> Prepare)> Inputs(int d)
        {
            for (int v = 0; v < d; v++)
            {
                int level = v;
                yield return ($"|{v}>", Dense.Basis(d, v), q => { for (int i = 0; i < level; i++) q.Cycle(); });
            }
            yield return ("uniform", Dense.Uniform(d), q => q.Hadamard());
        }

        public static IEnumerable<object[]> SingleQuditGates()
        {
            foreach (int d in new[] { 2, 3 })
            {
                yield return new object[] { "Shift", d, 1.0 };
                yield return new object[] { "Shift", d, 0.5 };
                yield return new object[] { "Shift", d, -0.3 };
                yield return new object[] { "X", d, 1.0 };
                yield return new object[] { "X", d, 0.25 };
                yield return new object[] { "Cycle", d, 1.0 };
                yield return new object[] { "Cycle", d, 0.5 };
                yield return new object[] { "Clock", d, 1.0 };
                yield return new object[] { "Clock", d, 0.5 };
                yield return new object[] { "Z", d, 1.0 };
                yield return new object[] { "Z", d, -1.0 };
                yield return new object[] { "Hadamard", d, 1.0 };
                yield return new object[] { "InverseHadamard", d, 1.0 };
                yield return new object[] { "FractionalHadamard", d, 1.0 };
                yield return new object[] { "FractionalHadamard", d, 0.5 };
                yield return new object[] { "FractionalHadamard", d, -1.0 };
            }
            yield return new object[] { "Y", 2, 1.0 };
            yield return new object[] { "Y", 2, 0.5 };
        }

        private static (Complex[,] Matrix, Action<Qudit, Control[]> Apply) Gate(string name, int d, double f)
        {
            Complex[,] y(double p) => Dense.Multiply(Dense.Clock(2, 0.5), Dense.Multiply(Dense.FractionalShift(2, p), Dense.Clock(2, -0.5)));
            return name switch
            {
                "Shift" => (Dense.FractionalShift(d, f), (q, c) => q.Shift(f, c)),
                "X" => (Dense.FractionalShift(d, f), (q, c) => q.X(f, c)),
                "Cycle" => (Dense.FractionalShift(d, -f), (q, c) => q.Cycle(f, c)),
                "Clock" => (Dense.Clock(d, f), (q, c) => q.Clock(f, c)),
                "Z" => (Dense.Clock(d, f), (q, c) => q.Z(f, c)),
                "Y" => (y(f), (q, c) => q.Y(f, c)),
                "Hadamard" => (Dense.Hadamard(d), (q, c) => q.Hadamard(c)),
                "InverseHadamard" => (Dense.InverseHadamard(d), (q, c) => q.InverseHadamard(c)),
                "FractionalHadamard" => (Dense.FractionalHadamard(d, f), (q, c) => q.FractionalHadamard(f, c)),
                _ => throw new ArgumentException(name),
            };
        }

        [Theory]
        [MemberData(nameof(SingleQuditGates))]
        public void Single_qudit_gate_matches_its_matrix(string name, int d, double f)
        {
            var (matrix, apply) = Gate(name, d, f);
            foreach (var input in Inputs(d))
            {
                using var q = new Qudit(d);
                input.Prepare(q);
                apply(q, Array.Empty<Control>());
                Dense.AssertClose(Dense.Outer(Dense.Apply(matrix, input.Psi)), Simulation.DensityMatrix(q), $"{name}^{f} on d={d}, {input.Name}");
            }
        }

        [Fact]
        public void Textbook_matrices_agree_with_the_whole_gates()
        {
            // Whole gates are taken at exactly 1; check the reference matrices say the same.
            foreach (int d in new[] { 2, 3 })
            {
                Dense.AssertClose(Dense.Shift(d), Dense.FractionalShift(d, 1), "shift");
                Dense.AssertClose(Dense.Cycle(d), Dense.FractionalShift(d, -1), "cycle");
                Dense.AssertClose(Dense.Hadamard(d), Dense.FractionalHadamard(d, 1), "hadamard");
            }
            Dense.AssertClose(Dense.Build(2, (r, c) => r == c ? 0 : (r == 0 ? -Complex.ImaginaryOne : Complex.ImaginaryOne)),
                Dense.Multiply(Dense.Clock(2, 0.5), Dense.Multiply(Dense.Shift(2), Dense.Clock(2, -0.5))), "Y");
        }

        [Theory]
        [InlineData("Shift", 3, 1.0)]
        [InlineData("Cycle", 3, 0.5)]
        [InlineData("Hadamard", 3, 1.0)]
        [InlineData("FractionalHadamard", 2, 0.5)]
        [InlineData("Y", 2, 1.0)]
        public void Controlled_gate_acts_only_where_the_control_holds(string name, int d, double f)
        {
            var (matrix, apply) = Gate(name, d, f);
            foreach (bool isEqual in new[] { true, false })
            {
                using var control = new Qudit(2);
                using var target = new Qudit(d);
                control.Hadamard();
                target.Hadamard();
                using Control c = new Control(control, 1, isEqual);
                apply(target, new[] { c });

                // Order (control, target): the control is the fast digit.
                Complex[] psi = Dense.Uniform(d), acted = Dense.Apply(matrix, psi);
                var expected = new Complex[2 * d];
                for (int t = 0; t < d; t++)
                {
                    expected[2 * t] = (isEqual ? psi[t] : acted[t]) / Math.Sqrt(2);
                    expected[2 * t + 1] = (isEqual ? acted[t] : psi[t]) / Math.Sqrt(2);
                }
                Dense.AssertClose(Dense.Outer(expected), Simulation.DensityMatrix(control, target), $"{name} under control {c}");
            }
        }

        private static Complex[,] TwoQuditMatrix(int d, Func<int, int, (int, int, Complex)[]> map)
        {
            int n = d * d;
            var m = new Complex[n, n];
            for (int a = 0; a < d; a++)
                for (int b = 0; b < d; b++)
                    foreach (var (a2, b2, amplitude) in map(a, b))
                        m[a2 + d * b2, a + d * b] += amplitude;
            return m;
        }

        [Theory]
        [InlineData(2, double.NaN)]
        [InlineData(3, double.NaN)]
        [InlineData(2, 1.0)]
        [InlineData(3, 1.0)]
        [InlineData(2, 0.5)]
        [InlineData(3, 0.3)]
        [InlineData(3, -1.0)]
        public void Swap_and_iswap_match_their_matrices(int d, double f)
        {
            bool swap = double.IsNaN(f);
            double theta = f * Math.PI / 2;
            Complex[,] matrix = TwoQuditMatrix(d, (a, b) => swap ? new[] { (b, a, Complex.One) }
                : a == b ? new[] { (a, b, Complex.One) }
                : new[] { (a, b, new Complex(Math.Cos(theta), 0)), (b, a, new Complex(0, Math.Sin(theta))) });

            var inputs = new List<(string, Complex[], Action<Qudit, Qudit>)>();
            for (int a = 0; a < d; a++)
                for (int b = 0; b < d; b++)
                {
                    int va = a, vb = b;
                    inputs.Add(($"|{a},{b}>", Dense.Basis(d * d, a + d * b), (p, q) =>
                    {
                        for (int i = 0; i < va; i++) p.Cycle();
                        for (int i = 0; i < vb; i++) q.Cycle();
                    }));
                }
            inputs.Add(("uniform", Dense.Uniform(d * d), (p, q) => { p.Hadamard(); q.Hadamard(); }));

            foreach (var (name, psi, prepare) in inputs)
            {
                using var p = new Qudit(d);
                using var q = new Qudit(d);
                prepare(p, q);
                if (swap) p.Swap(q);
                else p.ISwap(q, f);
                Dense.AssertClose(Dense.Outer(Dense.Apply(matrix, psi)), Simulation.DensityMatrix(p, q), $"{(swap ? "swap" : $"iswap^{f}")} d={d} {name}");
            }
        }

        [Fact]
        public void Iswap_without_fraction_is_the_power_one()
        {
            Complex[,] Run(Action<Qudit, Qudit> gate)
            {
                using var p = new Qudit(3);
                using var q = new Qudit(3);
                p.Hadamard();
                q.Cycle();
                gate(p, q);
                return Simulation.DensityMatrix(p, q);
            }
            Dense.AssertClose(Run((p, q) => p.ISwap(q, 1.0)), Run((p, q) => p.ISwap(q)), "iswap");
        }

        [Fact]
        public void Phase_rotate_turns_only_where_all_controls_hold()
        {
            using var a = new Qudit(2);
            using var b = new Qudit(3);
            a.Hadamard();
            b.Hadamard();
            using Control aIs1 = a.EqualTo(1), bNot0 = b.NotEqualTo(0);
            Simulation.PhaseRotate(Math.PI / 3, aIs1, bNot0);

            var expected = Dense.Uniform(6);
            for (int vb = 1; vb < 3; vb++) expected[1 + 2 * vb] *= Complex.FromPolarCoordinates(1, Math.PI / 3);
            Dense.AssertClose(Dense.Outer(expected), Simulation.DensityMatrix(a, b), "phase rotate");
        }

        [Fact]
        public void Fractional_hadamard_half_twice_is_the_hadamard()
        {
            using var q = new Qudit(3);
            q.Cycle();
            q.FractionalHadamard(0.5);
            q.FractionalHadamard(0.5);
            Dense.AssertClose(Dense.Outer(Dense.Apply(Dense.Hadamard(3), Dense.Basis(3, 1))), Simulation.DensityMatrix(q), "H^0.5 H^0.5");
        }
    }
}
