using System;
using System.Collections.Generic;
using System.Numerics;
using Xunit;

namespace Vortan.Tests
{
    /// <summary>Textbook matrices and a few dense operations, to compare the library against.</summary>
    internal static class Dense
    {
        internal static Complex W(int d, double power) => Complex.FromPolarCoordinates(1, 2 * Math.PI * power / d);

        internal static Complex[,] Build(int d, Func<int, int, Complex> element)
        {
            var m = new Complex[d, d];
            for (int r = 0; r < d; r++)
                for (int c = 0; c < d; c++)
                    m[r, c] = element(r, c);
            return m;
        }

        internal static Complex[,] Clock(int d, double f = 1) => Build(d, (r, c) => r == c ? W(d, r * f) : 0);
        internal static Complex[,] Hadamard(int d) => Build(d, (k, v) => W(d, -v * k) / Math.Sqrt(d));
        internal static Complex[,] InverseHadamard(int d) => Build(d, (k, v) => W(d, v * k) / Math.Sqrt(d));

        // Σ_k w^(k(f+m−v)) / d: the shift to the power f; f = 1 is v to v−1, f = −1 the cycle.
        internal static Complex[,] FractionalShift(int d, double f) => Build(d, (m, v) =>
        {
            Complex sum = 0;
            for (int k = 0; k < d; k++) sum += W(d, k * (f + m - v));
            return sum / d;
        });

        internal static Complex[,] Multiply(Complex[,] a, Complex[,] b) => Build(a.GetLength(0), (r, c) =>
        {
            Complex sum = 0;
            for (int k = 0; k < a.GetLength(0); k++) sum += a[r, k] * b[k, c];
            return sum;
        });

        // H to the power f by its spectrum: eigenvalues 1, −i, −1, i with phases 0, −π/2, π, π/2.
        internal static Complex[,] FractionalHadamard(int d, double f)
        {
            Complex[,] h = Hadamard(d), power = Build(d, (r, c) => r == c ? 1 : 0), result = new Complex[d, d];
            double[] phases = { 0, -Math.PI / 2, Math.PI, Math.PI / 2 };
            for (int n = 0; n < 4; n++)
            {
                Complex coefficient = 0;
                foreach (double theta in phases) coefficient += Complex.FromPolarCoordinates(1, theta * (f - n)) / 4;
                for (int r = 0; r < d; r++)
                    for (int c = 0; c < d; c++)
                        result[r, c] += coefficient * power[r, c];
                power = Multiply(h, power);
            }
            return result;
        }

        // Two qudits, the first the fast digit: |a,b⟩ to cos(fπ/2)|a,b⟩ + phase·sin(fπ/2)|b,a⟩ for a ≠ b,
        // |a,a⟩ kept. The i-swap has phase i; phase 1 at f = 1 is the swap.
        internal static Complex[,] Pair(int d, double f, Complex phase) => Build(d * d, (r, c) =>
            c % d == c / d ? (r == c ? 1 : 0)
            : r == c ? Math.Cos(f * Math.PI / 2)
            : r % d == c / d && r / d == c % d ? phase * Math.Sin(f * Math.PI / 2) : 0);

        internal static Complex[,] Outer(Complex[] psi) => Build(psi.Length, (r, c) => psi[r] * Complex.Conjugate(psi[c]));

        /// <summary>The library rounds read-outs to single precision.</summary>
        internal static void AssertClose(Complex[,] expected, Complex[,] actual, string what)
        {
            Assert.Equal(expected.GetLength(0), actual.GetLength(0));
            for (int r = 0; r < expected.GetLength(0); r++)
                for (int c = 0; c < expected.GetLength(1); c++)
                    Assert.True(Complex.Abs(expected[r, c] - actual[r, c]) < 1e-5,
                                $"{what}: element [{r},{c}] is {actual[r, c]}, expected {expected[r, c]}");
        }
    }

    /// <summary>Qudits and controls of one test, disposed together, the last made first.</summary>
    public sealed class Owned : IDisposable
    {
        private readonly List<IDisposable> _items = new();

        internal T Add<T>(T item) where T : IDisposable
        {
            _items.Add(item);
            return item;
        }

        internal Qudit[] Qudits(int count, int dimension)
        {
            var qudits = new Qudit[count];
            for (int i = 0; i < count; i++) qudits[i] = Add(new Qudit(dimension));
            return qudits;
        }

        public void Dispose()
        {
            for (int i = _items.Count - 1; i >= 0; i--) _items[i].Dispose();
        }
    }
}
