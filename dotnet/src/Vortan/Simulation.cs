using System;
using System.Numerics;

namespace Vortan
{
    /// <summary>Operations on several qudits at once: measurement, read-outs and the controlled phase.</summary>
    /// <remarks>
    /// <para>Every operation here first merges the states of the qudits it names, and they stay merged.</para>
    /// <para>Outcome order: an outcome of qudits q0, q1, ... with levels v0, v1, ... has the index
    /// k = v0 + d0·(v1 + d1·(v2 + ...)), the first qudit being the fastest digit. For two qutrits the order is
    /// (0,0), (1,0), (2,0), (0,1), (1,1), (2,1), (0,2), (1,2), (2,2). <see cref="Probabilities"/>,
    /// the rows and columns of <see cref="DensityMatrix"/> and <see cref="Histogram"/> all use it.</para>
    /// </remarks>
    public static class Simulation
    {
        /// <summary>Draws an outcome of the qudits and collapses their state onto it.</summary>
        /// <returns>One level per qudit, element i belonging to <paramref name="qudits"/>[i].</returns>
        public static unsafe int[] Measure(params Qudit[] qudits)
        {
            CheckQudits(qudits);
            var outcome = new int[qudits.Length];
            using var lease = new Lease(qudits, Array.Empty<Control>());
            ErrorInfo error;
            fixed (IntPtr* properties = lease.Qudits)
            fixed (int* output = outcome)
                Errors.Check(Native.vortan_measure_properties(properties, (nuint)qudits.Length, output, (nuint)outcome.Length, &error), &error);
            return outcome;
        }

        /// <summary>Collapses the state of the qudits onto the outcome <paramref name="values"/>.</summary>
        /// <param name="qudits">The qudits to project.</param>
        /// <param name="values">One level per qudit.</param>
        /// <exception cref="VortanInvalidArgumentException">The outcome is out of range or does not occur; the state is unchanged.</exception>
        public static unsafe void ForceMeasure(Qudit[] qudits, int[] values)
        {
            CheckQudits(qudits);
            Qudit.ThrowIfNull(values, nameof(values));
            if (values.Length != qudits.Length)
                throw new ArgumentException($"{values.Length} values for {qudits.Length} qudits", nameof(values));
            using var lease = new Lease(qudits, Array.Empty<Control>());
            ErrorInfo error;
            fixed (IntPtr* properties = lease.Qudits)
            fixed (int* forced = values)
                Errors.Check(Native.vortan_forced_measure_properties(properties, (nuint)qudits.Length, forced, (nuint)values.Length, null, 0, &error), &error);
        }

        /// <summary>The probability of every outcome of the qudits, without changing any amplitude.</summary>
        /// <returns>One probability per outcome, in the outcome order of this class (the first qudit fastest); absent outcomes are 0.
        /// Each value was rounded to single precision by the library.</returns>
        public static unsafe double[] Probabilities(params Qudit[] qudits)
        {
            CheckQudits(qudits);
            using var lease = new Lease(qudits, Array.Empty<Control>());
            int n = CountOutcomes(qudits);
            var entries = new ProbabilityEntry[n]; // outcome_values null: the order is known
            ErrorInfo error;
            nuint written;
            fixed (IntPtr* properties = lease.Qudits)
            fixed (ProbabilityEntry* output = entries)
                Errors.Check(Native.vortan_calculate_probabilities(properties, (nuint)qudits.Length, output, (nuint)n, &written, &error), &error);
            var result = new double[(int)written];
            for (int k = 0; k < result.Length; k++) result[k] = entries[k].Probability;
            return result;
        }

        /// <summary>The reduced density matrix of the qudits, all others traced out; changes no amplitude.</summary>
        /// <returns>An n×n matrix, n the product of the dimensions. Element [r, c] has the ket outcome r and the bra
        /// outcome c, both numbered in the outcome order of this class. Values are rounded to single precision.</returns>
        public static unsafe Complex[,] DensityMatrix(params Qudit[] qudits)
        {
            CheckQudits(qudits);
            using var lease = new Lease(qudits, Array.Empty<Control>());
            int n = CountOutcomes(qudits);
            var elements = new DensityElement[checked(n * n)];
            ErrorInfo error;
            nuint side;
            fixed (IntPtr* properties = lease.Qudits)
            fixed (DensityElement* output = elements)
                Errors.Check(Native.vortan_calculate_reduced_density_matrix(properties, (nuint)qudits.Length, output, (nuint)elements.Length, &side, &error), &error);
            var matrix = new Complex[n, n];
            for (int r = 0; r < n; r++)
                for (int c = 0; c < n; c++)
                    matrix[r, c] = new Complex(elements[r * n + c].Real, elements[r * n + c].Imag);
            return matrix;
        }

        /// <summary>Asks by measurement whether all controls hold, and projects the state onto the answer.</summary>
        /// <returns>True if they all hold.</returns>
        public static unsafe bool Project(params Control[] controls)
        {
            CheckControls(controls);
            using var lease = new Lease(Array.Empty<Qudit>(), controls);
            ErrorInfo error;
            int answer;
            fixed (IntPtr* predicates = lease.Controls)
                Errors.Check(Native.vortan_stochastic_projection_modern(predicates, (nuint)controls.Length, &answer, &error), &error);
            return answer != 0;
        }

        /// <summary>Multiplies the basis states where all controls hold by e^(i·<paramref name="angle"/>).</summary>
        /// <param name="angle">Radians.</param>
        /// <param name="controls">At least one control.</param>
        public static unsafe void PhaseRotate(double angle, params Control[] controls)
        {
            CheckControls(controls);
            using var lease = new Lease(Array.Empty<Qudit>(), controls);
            ErrorInfo error;
            fixed (IntPtr* predicates = lease.Controls)
                Errors.Check(Native.vortan_phase_rotate_operation(predicates, (nuint)controls.Length, angle, &error), &error);
        }

        /// <summary>The index of an outcome in the outcome order of this class.</summary>
        /// <param name="dimensions">The dimensions of the qudits, in order.</param>
        /// <param name="levels">One level per qudit.</param>
        public static int OutcomeIndex(int[] dimensions, int[] levels)
        {
            Qudit.ThrowIfNull(dimensions, nameof(dimensions));
            Qudit.ThrowIfNull(levels, nameof(levels));
            if (levels.Length != dimensions.Length) throw new ArgumentException("one level per dimension", nameof(levels));
            int index = 0;
            for (int i = levels.Length - 1; i >= 0; i--)
            {
                if ((uint)levels[i] >= (uint)dimensions[i]) throw new ArgumentOutOfRangeException(nameof(levels), $"level {levels[i]} of qudit {i} is not below {dimensions[i]}");
                index = index * dimensions[i] + levels[i];
            }
            return index;
        }

        /// <summary>The levels of the outcome at <paramref name="index"/> in the outcome order of this class.</summary>
        public static int[] OutcomeLevels(int[] dimensions, int index)
        {
            Qudit.ThrowIfNull(dimensions, nameof(dimensions));
            var levels = new int[dimensions.Length];
            for (int i = 0; i < levels.Length; i++)
            {
                levels[i] = index % dimensions[i];
                index /= dimensions[i];
            }
            return levels;
        }

        /// <summary>
        /// Runs a circuit <paramref name="shots"/> times on fresh qudits and measures them all after each run.
        /// </summary>
        /// <param name="shots">How many runs.</param>
        /// <param name="dimensions">The dimensions of the qudits each run starts with.</param>
        /// <param name="circuit">Applies the gates; the qudits are disposed after each run.</param>
        /// <returns>How often each outcome came up.</returns>
        public static Histogram Shots(int shots, int[] dimensions, Action<Qudit[]> circuit)
        {
            if (shots < 0) throw new ArgumentOutOfRangeException(nameof(shots), "shots must not be negative");
            Qudit.ThrowIfNull(dimensions, nameof(dimensions));
            Qudit.ThrowIfNull(circuit, nameof(circuit));
            if (dimensions.Length == 0) throw new ArgumentException("at least one qudit", nameof(dimensions));
            var histogram = new Histogram(dimensions);
            var qudits = new Qudit[dimensions.Length];
            for (int shot = 0; shot < shots; shot++)
            {
                try
                {
                    for (int i = 0; i < qudits.Length; i++) qudits[i] = new Qudit(dimensions[i]);
                    circuit(qudits);
                    histogram.Add(Measure(qudits));
                }
                finally
                {
                    foreach (Qudit? q in qudits) q?.Dispose();
                    Array.Clear(qudits, 0, qudits.Length);
                }
            }
            return histogram;
        }

        private static int CountOutcomes(Qudit[] qudits)
        {
            long n = 1;
            foreach (Qudit q in qudits) n = checked(n * q.Dimension);
            return checked((int)n);
        }

        private static void CheckQudits(Qudit[] qudits)
        {
            Qudit.ThrowIfNull(qudits, nameof(qudits));
            if (qudits.Length == 0) throw new ArgumentException("at least one qudit", nameof(qudits));
        }

        private static void CheckControls(Control[] controls)
        {
            Qudit.ThrowIfNull(controls, nameof(controls));
            if (controls.Length == 0) throw new ArgumentException("at least one control", nameof(controls));
        }
    }
}
