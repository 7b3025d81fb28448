using System;

namespace Vortan
{
    /// <summary>
    /// A condition on one qudit, equal or not equal to a value, under which gates act.
    /// Several controls of one gate are joined by AND.
    /// </summary>
    /// <remarks>
    /// A control keeps its qudit's native property alive until the control is disposed or
    /// finalised, even after the qudit is disposed. One control may serve any number of gates.
    /// </remarks>
    public sealed class Control : IDisposable
    {
        internal readonly ControlHandle Handle;

        /// <summary>Makes a control on <paramref name="qudit"/>.</summary>
        /// <param name="qudit">The qudit looked at.</param>
        /// <param name="value">The level compared with; not checked against the dimension.</param>
        /// <param name="isEqual">True: holds where the level equals <paramref name="value"/>; false: where it differs.</param>
        public unsafe Control(Qudit qudit, int value, bool isEqual)
        {
            Qudit.ThrowIfNull(qudit, nameof(qudit));
            Handle = new ControlHandle();
            using (var lease = new Lease(new[] { qudit }, Array.Empty<Control>()))
            {
                IntPtr predicate = IntPtr.Zero;
                int code = Native.vortan_predicate_create(lease.Qudits[0], value, isEqual ? (byte)1 : (byte)0, &predicate);
                if (code != 0) Handle.SetHandleAsInvalid();
                Errors.Check(code, "vortan_predicate_create");
                // The control's own reference on the qudit, given back when the predicate goes.
                bool added = false;
                qudit.Handle.DangerousAddRef(ref added);
                Handle.Adopt(predicate, qudit.Handle);
            }
            Qudit = qudit;
            Value = value;
            IsEqual = isEqual;
        }

        /// <summary>The qudit this control looks at.</summary>
        public Qudit Qudit { get; }

        /// <summary>The level compared with.</summary>
        public int Value { get; }

        /// <summary>True if the control holds where the level equals <see cref="Value"/>, false where it differs.</summary>
        public bool IsEqual { get; }

        /// <summary>Whether <see cref="Dispose"/> has been called.</summary>
        public bool IsDisposed => Handle.IsClosed;

        /// <summary>Frees the predicate, then lets go of the qudit.</summary>
        public void Dispose()
        {
            Handle.Dispose();
            QuditHandle.ReleaseAbandoned();
        }

        /// <inheritdoc/>
        public override string ToString() => $"qudit {(IsEqual ? "==" : "!=")} {Value}";
    }
}
