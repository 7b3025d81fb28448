using System;

namespace Vortan
{
    /// <summary>
    /// One qudit of dimension 2 or 3, made in basis state 0 and alone in a state of its own.
    /// Gates that name several qudits (a target and its controls) merge their states for good.
    /// </summary>
    /// <remarks>
    /// <para>Dispose frees the handle; its qudit stays in the shared state, unnamed, and partners
    /// see no change. A qudit is freed once however often it is disposed, and a forgotten one by
    /// its finaliser. Its controls keep it alive: the native property goes only after the last of them.</para>
    /// <para>A qudit and the qudits it is entangled with must not be used from two threads at once;
    /// qudits of unrelated states may be used freely on different threads.</para>
    /// </remarks>
    public sealed class Qudit : IDisposable
    {
        internal readonly QuditHandle Handle;

        /// <summary>Creates a qudit in basis state 0.</summary>
        /// <param name="dimension">2 for a qubit, 3 for a qutrit.</param>
        /// <exception cref="InvalidDimensionException">The dimension is not 2 or 3.</exception>
        public unsafe Qudit(int dimension)
        {
            QuditHandle.ReleaseAbandoned();
            Handle = new QuditHandle();
            IntPtr property = IntPtr.Zero;
            ErrorInfo error;
            int code = Native.vortan_quantum_property_create(dimension, &property, &error);
            if (code != 0) Handle.SetHandleAsInvalid();
            Errors.Check(code, &error);
            Handle.Adopt(property);
            Dimension = dimension;
        }

        /// <summary>The dimension of this qudit: 2 or 3.</summary>
        public int Dimension { get; }

        /// <summary>Whether <see cref="Dispose"/> or <see cref="FactorizeAndDispose"/> has been called.</summary>
        public bool IsDisposed => Handle.IsClosed;

        /// <summary>Number of qudits in the shared state this qudit stands in, itself and disposed partners included.</summary>
        public unsafe int ActiveQuditCount
        {
            get
            {
                nuint count;
                using (var lease = Lease1())
                    Errors.Check(Native.vortan_quantum_property_get_num_active_qudits(lease.Qudits[0], &count), "vortan_quantum_property_get_num_active_qudits");
                return checked((int)count);
            }
        }

        /// <summary>Number of basis entries stored now in this qudit's shared state.</summary>
        public unsafe int StateSize
        {
            get
            {
                nuint size;
                using (var lease = Lease1())
                    Errors.Check(Native.vortan_quantum_property_get_state_vector_size(lease.Qudits[0], &size), "vortan_quantum_property_get_state_vector_size");
                return checked((int)size);
            }
        }

        /// <summary>A control that holds where this qudit's level equals <paramref name="value"/>.</summary>
        /// <remarks>The value is not checked against the dimension: a value the qudit cannot take selects nothing.</remarks>
        public Control EqualTo(int value) => new Control(this, value, isEqual: true);

        /// <summary>A control that holds where this qudit's level differs from <paramref name="value"/>.</summary>
        public Control NotEqualTo(int value) => new Control(this, value, isEqual: false);

        /// <summary>Moves the level down by one with wrap-around (v to v−1 mod d) where all controls hold.</summary>
        public void Shift(params Control[] controls) => Apply(Gate.Shift, 1.0, controls);
        /// <summary>Shift raised to the power <paramref name="fraction"/>; exactly 1 is the whole gate, −1 is <see cref="Cycle(Control[])"/>.</summary>
        public void Shift(double fraction, params Control[] controls) => Apply(Gate.Shift, fraction, controls);

        /// <summary>Moves the level up by one with wrap-around (v to v+1 mod d) where all controls hold.</summary>
        public void Cycle(params Control[] controls) => Apply(Gate.Cycle, 1.0, controls);
        /// <summary>Cycle raised to the power <paramref name="fraction"/>; exactly 1 is the whole gate.</summary>
        public void Cycle(double fraction, params Control[] controls) => Apply(Gate.Cycle, fraction, controls);

        /// <summary>Multiplies level v by w^v, w = e^(2πi/d), where all controls hold.</summary>
        public void Clock(params Control[] controls) => Apply(Gate.Clock, 1.0, controls);
        /// <summary>Clock raised to the power <paramref name="fraction"/>: level v gets e^(2πi·v·f/d).</summary>
        public void Clock(double fraction, params Control[] controls) => Apply(Gate.Clock, fraction, controls);

        /// <summary>X: the same gate as <see cref="Shift(Control[])"/>, under its letter name.</summary>
        public void X(params Control[] controls) => Apply(Gate.X, 1.0, controls);
        /// <summary>X raised to the power <paramref name="fraction"/>.</summary>
        public void X(double fraction, params Control[] controls) => Apply(Gate.X, fraction, controls);

        /// <summary>Y of a qubit, as Z^(1/2)·X·Z^(−1/2).</summary>
        /// <exception cref="VortanInvalidArgumentException">This qudit is not a qubit.</exception>
        public void Y(params Control[] controls) => Apply(Gate.Y, 1.0, controls);
        /// <summary>Y of a qubit raised to a power, as Z^(1/2)·X^f·Z^(−1/2).</summary>
        public void Y(double fraction, params Control[] controls) => Apply(Gate.Y, fraction, controls);

        /// <summary>Z: the same gate as <see cref="Clock(Control[])"/>, under its letter name.</summary>
        public void Z(params Control[] controls) => Apply(Gate.Z, 1.0, controls);
        /// <summary>Z raised to the power <paramref name="fraction"/>.</summary>
        public void Z(double fraction, params Control[] controls) => Apply(Gate.Z, fraction, controls);

        /// <summary>Fourier transform of the level: v goes to (1/√d)·Σ_k w^(−vk)|k⟩.</summary>
        /// <exception cref="StateSizeExceededException">The state would pass 100000 entries; it is left unchanged.</exception>
        public void Hadamard(params Control[] controls) => Apply(Gate.Hadamard, 1.0, controls);

        /// <summary>Inverse Fourier transform of the level: v goes to (1/√d)·Σ_k w^(vk)|k⟩.</summary>
        public void InverseHadamard(params Control[] controls) => Apply(Gate.InverseHadamard, 1.0, controls);

        /// <summary>The Hadamard raised to any real power, 1 included: 0.5 twice is the Hadamard, −1 its inverse.</summary>
        public void FractionalHadamard(double fraction, params Control[] controls) => Apply(Gate.FractionalHadamard, fraction, controls);

        /// <summary>Exchanges the levels of this qudit and <paramref name="other"/>, of the same dimension.</summary>
        /// <exception cref="IncompatibleDimensionsException">The dimensions differ.</exception>
        public unsafe void Swap(Qudit other, params Control[] controls)
        {
            ThrowIfNull(other, nameof(other));
            ThrowIfNull(controls, nameof(controls));
            using var lease = new Lease(new[] { this, other }, controls);
            ErrorInfo error;
            fixed (IntPtr* predicates = lease.Controls)
                Errors.Check(Native.vortan_swap_operation(lease.Qudits[0], lease.Qudits[1], predicates, (nuint)controls.Length, &error), &error);
        }

        /// <summary>i-swap with <paramref name="other"/>: |a,b⟩ goes to i|b,a⟩ for a ≠ b; |a,a⟩ is unchanged.</summary>
        public void ISwap(Qudit other, params Control[] controls) => ISwap(other, 1.0, controls);

        /// <summary>i-swap raised to a power: |a,b⟩ goes to cos(fπ/2)|a,b⟩ + i·sin(fπ/2)|b,a⟩ for a ≠ b.</summary>
        public unsafe void ISwap(Qudit other, double fraction, params Control[] controls)
        {
            ThrowIfNull(other, nameof(other));
            ThrowIfNull(controls, nameof(controls));
            using var lease = new Lease(new[] { this, other }, controls);
            ErrorInfo error;
            fixed (IntPtr* predicates = lease.Controls)
                Errors.Check(Native.vortan_i_swap_operation(lease.Qudits[0], lease.Qudits[1], fraction, predicates, (nuint)controls.Length, &error), &error);
        }

        /// <summary>Measures this qudit, collapsing its partners too.</summary>
        /// <returns>The level found.</returns>
        public int Measure() => Simulation.Measure(this)[0];

        /// <summary>The probability of each level, indexed by level.</summary>
        public double[] Probabilities() => Simulation.Probabilities(this);

        /// <summary>Frees the handle. The qudit stays in its shared state, unnamed; nothing is measured.</summary>
        /// <remarks>Live controls of this qudit keep the native property until they are disposed.</remarks>
        public void Dispose()
        {
            Handle.Dispose();
            QuditHandle.ReleaseAbandoned();
        }

        /// <summary>
        /// Takes the qudit out of its shared state and frees it. A qudit with partners is measured
        /// first, which collapses them (with a warning on the standard error stream if it was entangled).
        /// </summary>
        /// <exception cref="InvalidOperationException">A control of this qudit is still alive.</exception>
        /// <exception cref="ObjectDisposedException">The qudit was disposed already.</exception>
        public unsafe void FactorizeAndDispose()
        {
            if (Handle.ControlCount > 0)
                throw new InvalidOperationException("dispose the controls of this qudit before taking it out of its state");
            using (var lease = Lease1())
            {
                IntPtr property = lease.Qudits[0];
                ErrorInfo error;
                Errors.Check(Native.vortan_quantum_property_factorize_and_destroy(&property, &error), &error);
                Handle.MarkFreed();
            }
            QuditHandle.ReleaseAbandoned();
        }

        internal enum Gate { Shift, Cycle, Clock, X, Y, Z, Hadamard, InverseHadamard, FractionalHadamard }

        private unsafe void Apply(Gate gate, double fraction, Control[] controls)
        {
            ThrowIfNull(controls, nameof(controls));
            using var lease = new Lease(new[] { this }, controls);
            IntPtr target = lease.Qudits[0];
            nuint count = (nuint)controls.Length;
            ErrorInfo error;
            fixed (IntPtr* p = lease.Controls)
            {
                int code = gate switch
                {
                    Gate.Shift => Native.vortan_shift_operation(target, fraction, p, count, &error),
                    Gate.Cycle => Native.vortan_cycle_operation(target, fraction, p, count, &error),
                    Gate.Clock => Native.vortan_clock_operation(target, fraction, p, count, &error),
                    Gate.X => Native.vortan_x_operation(target, fraction, p, count, &error),
                    Gate.Y => Native.vortan_y_operation(target, fraction, p, count, &error),
                    Gate.Z => Native.vortan_z_operation(target, fraction, p, count, &error),
                    Gate.Hadamard => Native.vortan_hadamard_operation(target, p, count, &error),
                    Gate.InverseHadamard => Native.vortan_inverse_hadamard_operation(target, p, count, &error),
                    _ => Native.vortan_fractional_hadamard_operation(target, fraction, p, count, &error),
                };
                Errors.Check(code, &error);
            }
        }

        private Lease Lease1()
        {
            if (Handle.IsClosed) throw new ObjectDisposedException(nameof(Qudit));
            return new Lease(new[] { this }, Array.Empty<Control>());
        }

        internal static void ThrowIfNull(object? value, string name)
        {
            if (value is null) throw new ArgumentNullException(name);
        }
    }
}
