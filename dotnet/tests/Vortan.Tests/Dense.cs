using System;
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

        internal static Complex[,] Shift(int d) => Build(d, (r, c) => r == (c + d - 1) % d ? 1 : 0);
        internal static Complex[,] Cycle(int d) => Build(d, (r, c) => r == (c + 1) % d ? 1 : 0);
        internal static Complex[,] Clock(int d, double f = 1) => Build(d, (r, c) => r == c ? W(d, r * f) : 0);
        internal static Complex[,] Hadamard(int d) => Build(d, (k, v) => W(d, -v * k) / Math.Sqrt(d));
        internal static Complex[,] InverseHadamard(int d) => Build(d, (k, v) => W(d, v * k) / Math.Sqrt(d));

        // Σ_k w^(k(f+m−v)) / d: the shift to the power f; f = 1 is Shift.
        internal static Complex[,] FractionalShift(int d, double f) => Build(d, (m, v) =>
        {
            Complex sum = 0;
            for (int k = 0; k < d; k++) sum += W(d, k * (f + m - v));
            return sum / d;
        });

        internal static Complex[,] Identity(int d) => Build(d, (r, c) => r == c ? 1 : 0);

        internal static Complex[,] Multiply(Complex[,] a, Complex[,] b)
        {
            int n = a.GetLength(0);
            return Build(n, (r, c) =>
            {
                Complex sum = 0;
                for (int k = 0; k < n; k++) sum += a[r, k] * b[k, c];
                return sum;
            });
        }

        // H to the power f by its spectrum: eigenvalues 1, −i, −1, i with phases 0, −π/2, π, π/2.
        internal static Complex[,] FractionalHadamard(int d, double f)
        {
            Complex[,] h = Hadamard(d), power = Identity(d), result = new Complex[d, d];
            double[] phases = { 0, -Math.PI / 2, Math.PI, Math.PI / 2 };
            for (int n = 0; n < 4; n++)
            {
                Complex coefficient = 0;
                foreach (double theta in phases) coefficient += Complex.FromPolarCoordinates(1, theta * (f - n));
                coefficient *= 0.25;
                for (int r = 0; r < d; r++)
                    for (int c = 0; c < d; c++)
                        result[r, c] += coefficient * power[r, c];
                power = Multiply(h, power);
            }
            return result;
        }

        internal static Complex[] Apply(Complex[,] u, Complex[] psi)
        {
            var result = new Complex[psi.Length];
            for (int r = 0; r < psi.Length; r++)
                for (int c = 0; c < psi.Length; c++)
                    result[r] += u[r, c] * psi[c];
            return result;
        }

        internal static Complex[,] Outer(Complex[] psi) => Build(psi.Length, (r, c) => psi[r] * Complex.Conjugate(psi[c]));

        internal static Complex[] Basis(int n, int index)
        {
            var psi = new Complex[n];
            psi[index] = 1;
            return psi;
        }

        internal static Complex[] Uniform(int n)
        {
            var psi = new Complex[n];
            for (int i = 0; i < n; i++) psi[i] = 1 / Math.Sqrt(n);
            return psi;
        }

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
}
