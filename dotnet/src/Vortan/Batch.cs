using System;
using System.Collections.Generic;

namespace Vortan
{
    /// <summary>
    /// A list of gates run in one call into the library. Every gate is checked before any runs;
    /// then they run in order without rollback.
    /// </summary>
    /// <remarks>
    /// A gate added without a fraction is the whole gate; one added with a fraction is the fractional
    /// gate with that power, 1 included. Failures of single gates (overlap, size) come out of a
    /// running batch as <see cref="ErrorCode.Internal"/>, their message telling them apart.
    /// The batch holds its qudits and controls until it is cleared; it can run any number of times.
    /// </remarks>
    public sealed class Batch
    {
        private enum Op : uint { Cycle = 0, Shift = 1, Clock = 2, X = 3, Z = 4, Y = 5, Hadamard = 6, InverseHadamard = 7, Swap = 8, ISwap = 9, PhaseRotate = 10 }

        private readonly struct Entry
        {
            public Entry(Op op, Qudit? target, Qudit? target2, double fraction, double angle, Control[] controls)
            {
                Opcode = op;
                Target = target;
                Target2 = target2;
                Fraction = fraction;
                Angle = angle;
                Controls = controls;
            }

            public readonly Op Opcode;
            public readonly Qudit? Target, Target2;
            public readonly double Fraction, Angle;
            public readonly Control[] Controls;
        }

        private readonly List<Entry> _entries = new();
        private int _controlCount;

        /// <summary>The number of gates in the batch.</summary>
        public int Count => _entries.Count;

        /// <summary>Removes every gate.</summary>
        public void Clear()
        {
            _entries.Clear();
            _controlCount = 0;
        }

        /// <summary>Adds <see cref="Qudit.Cycle(Control[])"/>.</summary>
        public Batch Cycle(Qudit target, params Control[] controls) => Add(Op.Cycle, target, null, double.NaN, controls);
        /// <summary>Adds <see cref="Qudit.Cycle(double, Control[])"/>.</summary>
        public Batch Cycle(Qudit target, double fraction, params Control[] controls) => Add(Op.Cycle, target, null, Finite(fraction), controls);
        /// <summary>Adds <see cref="Qudit.Shift(Control[])"/>.</summary>
        public Batch Shift(Qudit target, params Control[] controls) => Add(Op.Shift, target, null, double.NaN, controls);
        /// <summary>Adds <see cref="Qudit.Shift(double, Control[])"/>.</summary>
        public Batch Shift(Qudit target, double fraction, params Control[] controls) => Add(Op.Shift, target, null, Finite(fraction), controls);
        /// <summary>Adds <see cref="Qudit.Clock(Control[])"/>.</summary>
        public Batch Clock(Qudit target, params Control[] controls) => Add(Op.Clock, target, null, double.NaN, controls);
        /// <summary>Adds <see cref="Qudit.Clock(double, Control[])"/>.</summary>
        public Batch Clock(Qudit target, double fraction, params Control[] controls) => Add(Op.Clock, target, null, Finite(fraction), controls);
        /// <summary>Adds <see cref="Qudit.X(Control[])"/>.</summary>
        public Batch X(Qudit target, params Control[] controls) => Add(Op.X, target, null, double.NaN, controls);
        /// <summary>Adds <see cref="Qudit.X(double, Control[])"/>.</summary>
        public Batch X(Qudit target, double fraction, params Control[] controls) => Add(Op.X, target, null, Finite(fraction), controls);
        /// <summary>Adds <see cref="Qudit.Y(Control[])"/>.</summary>
        public Batch Y(Qudit target, params Control[] controls) => Add(Op.Y, target, null, double.NaN, controls);
        /// <summary>Adds <see cref="Qudit.Y(double, Control[])"/>.</summary>
        public Batch Y(Qudit target, double fraction, params Control[] controls) => Add(Op.Y, target, null, Finite(fraction), controls);
        /// <summary>Adds <see cref="Qudit.Z(Control[])"/>.</summary>
        public Batch Z(Qudit target, params Control[] controls) => Add(Op.Z, target, null, double.NaN, controls);
        /// <summary>Adds <see cref="Qudit.Z(double, Control[])"/>.</summary>
        public Batch Z(Qudit target, double fraction, params Control[] controls) => Add(Op.Z, target, null, Finite(fraction), controls);
        /// <summary>Adds <see cref="Qudit.Hadamard(Control[])"/>.</summary>
        public Batch Hadamard(Qudit target, params Control[] controls) => Add(Op.Hadamard, target, null, double.NaN, controls);
        /// <summary>Adds <see cref="Qudit.FractionalHadamard(double, Control[])"/>.</summary>
        public Batch FractionalHadamard(Qudit target, double fraction, params Control[] controls) => Add(Op.Hadamard, target, null, Finite(fraction), controls);
        /// <summary>Adds <see cref="Qudit.InverseHadamard(Control[])"/>.</summary>
        public Batch InverseHadamard(Qudit target, params Control[] controls) => Add(Op.InverseHadamard, target, null, double.NaN, controls);

        /// <summary>Adds <see cref="Qudit.Swap(Qudit, Control[])"/>.</summary>
        public Batch Swap(Qudit first, Qudit second, params Control[] controls)
        {
            Qudit.ThrowIfNull(second, nameof(second));
            return Add(Op.Swap, first, second, double.NaN, controls);
        }

        /// <summary>Adds <see cref="Qudit.ISwap(Qudit, Control[])"/>.</summary>
        public Batch ISwap(Qudit first, Qudit second, params Control[] controls)
        {
            Qudit.ThrowIfNull(second, nameof(second));
            return Add(Op.ISwap, first, second, double.NaN, controls);
        }

        /// <summary>Adds <see cref="Qudit.ISwap(Qudit, double, Control[])"/>.</summary>
        public Batch ISwap(Qudit first, Qudit second, double fraction, params Control[] controls)
        {
            Qudit.ThrowIfNull(second, nameof(second));
            return Add(Op.ISwap, first, second, Finite(fraction), controls);
        }

        /// <summary>Adds <see cref="Simulation.PhaseRotate(double, Control[])"/>.</summary>
        /// <param name="angle">Radians; must be finite.</param>
        /// <param name="controls">At least one control.</param>
        public Batch PhaseRotate(double angle, params Control[] controls)
        {
            if (double.IsNaN(angle) || double.IsInfinity(angle)) throw new ArgumentOutOfRangeException(nameof(angle), angle, "angle must be finite");
            Qudit.ThrowIfNull(controls, nameof(controls));
            if (controls.Length == 0) throw new ArgumentException("at least one control", nameof(controls));
            return Push(new Entry(Op.PhaseRotate, null, null, double.NaN, angle, Copy(controls)));
        }

        /// <summary>Runs the gates in order.</summary>
        /// <returns>The number of gates run, which is <see cref="Count"/>.</returns>
        /// <exception cref="BatchException">A gate failed; <see cref="BatchException.OperationsExecuted"/> ran and stay applied.</exception>
        /// <exception cref="ObjectDisposedException">A qudit or control of the batch was disposed.</exception>
        public unsafe long Execute()
        {
            int n = _entries.Count;
            var qudits = new List<Qudit>(2 * n);
            var controls = new Control[_controlCount];
            int c = 0;
            foreach (Entry e in _entries)
            {
                if (e.Target is not null) qudits.Add(e.Target);
                if (e.Target2 is not null) qudits.Add(e.Target2);
                e.Controls.CopyTo(controls, c);
                c += e.Controls.Length;
            }

            using var lease = new Lease(qudits.ToArray(), controls);
            var ops = new BatchOp[n];
            BatchResult result;
            ErrorInfo error;
            int code;
            fixed (IntPtr* predicates = lease.Controls)
            fixed (BatchOp* records = ops)
            {
                int q = 0, p = 0;
                for (int i = 0; i < n; i++)
                {
                    Entry e = _entries[i];
                    records[i].Opcode = (uint)e.Opcode;
                    records[i].Target = e.Target is null ? IntPtr.Zero : lease.Qudits[q++];
                    records[i].Target2 = e.Target2 is null ? IntPtr.Zero : lease.Qudits[q++];
                    records[i].Fraction = e.Fraction;
                    records[i].Angle = e.Angle;
                    records[i].Predicates = e.Controls.Length == 0 ? null : predicates + p;
                    records[i].PredicateCount = (nuint)e.Controls.Length;
                    p += e.Controls.Length;
                }
                code = Native.vortan_execute_batch(records, (nuint)n, &result, &error);
            }
            if (code != 0)
            {
                // Lets a throwing ErrorReported handler win, as for every other call.
                try { Errors.Check(code, &error); }
                catch (VortanException) { }
                throw new BatchException((ErrorCode)code, Errors.Text(result.ErrorMessage, 256), (long)result.OpsExecuted);
            }
            return (long)result.OpsExecuted;
        }

        private Batch Add(Op op, Qudit target, Qudit? target2, double fraction, Control[] controls)
        {
            Qudit.ThrowIfNull(target, nameof(target));
            Qudit.ThrowIfNull(controls, nameof(controls));
            return Push(new Entry(op, target, target2, fraction, 0.0, Copy(controls)));
        }

        private Batch Push(Entry entry)
        {
            _entries.Add(entry);
            _controlCount += entry.Controls.Length;
            return this;
        }

        private static Control[] Copy(Control[] controls)
        {
            foreach (Control? control in controls)
                if (control is null) throw new ArgumentNullException(nameof(controls), "no control may be null");
            return controls.Length == 0 ? Array.Empty<Control>() : (Control[])controls.Clone();
        }

        // A NaN would silently ask for the whole gate, and the library does not test for infinity here.
        private static double Finite(double fraction)
        {
            if (double.IsNaN(fraction) || double.IsInfinity(fraction))
                throw new ArgumentOutOfRangeException(nameof(fraction), fraction, "fraction must be finite");
            return fraction;
        }
    }
}
