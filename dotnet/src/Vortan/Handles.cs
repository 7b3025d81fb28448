using System;
using System.Collections.Concurrent;
using System.Runtime.InteropServices;
using System.Threading;

namespace Vortan
{
    /// <summary>Owns one vortan_quantum_property.</summary>
    /// <remarks>
    /// Every live control holds a reference on this handle, so the property is destroyed
    /// only after the last of its controls, whatever order Dispose or the finaliser take.
    /// </remarks>
    internal sealed class QuditHandle : SafeHandle
    {
        // Set while a finaliser runs on this thread: see ReleaseHandle.
        [ThreadStatic] internal static bool t_finalizing;

        private static readonly ConcurrentDictionary<int, ConcurrentQueue<IntPtr>> s_abandoned = new();
        private static long s_live;
        private int _controls;

        internal QuditHandle() : base(IntPtr.Zero, ownsHandle: true) { }

        public override bool IsInvalid => handle == IntPtr.Zero;

        /// <summary>The thread that last called the library with this qudit.</summary>
        internal int Owner;

        /// <summary>Properties created and not yet destroyed, in the whole process.</summary>
        internal static long Live => Interlocked.Read(ref s_live);

        internal int ControlCount => Volatile.Read(ref _controls);

        internal void Adopt(IntPtr property)
        {
            SetHandle(property);
            Owner = Environment.CurrentManagedThreadId;
            Interlocked.Increment(ref s_live);
        }

        internal void AddControl() => Interlocked.Increment(ref _controls);
        internal void RemoveControl() => Interlocked.Decrement(ref _controls);

        /// <summary>The library has freed the property itself (factorise and destroy): forget it without a second free.</summary>
        internal void MarkFreed()
        {
            SetHandle(IntPtr.Zero);
            SetHandleAsInvalid();
            Interlocked.Decrement(ref s_live);
        }

        protected override void Dispose(bool disposing)
        {
            if (disposing)
            {
                base.Dispose(true);
                return;
            }
            t_finalizing = true;
            try { base.Dispose(false); }
            finally { t_finalizing = false; }
        }

        protected override bool ReleaseHandle()
        {
            // Destroying a property edits its shared state, which its partners may be
            // using on their thread right now. A finaliser therefore only queues it for
            // the thread that used it last; that thread frees it at its next create or
            // Dispose, or at VortanLibrary.ReleaseAbandonedQudits.
            if (t_finalizing)
                s_abandoned.GetOrAdd(Owner, _ => new ConcurrentQueue<IntPtr>()).Enqueue(handle);
            else
                Destroy(handle);
            return true;
        }

        private static unsafe void Destroy(IntPtr property)
        {
            Native.vortan_quantum_property_destroy(&property);
            Interlocked.Decrement(ref s_live);
        }

        /// <summary>Frees the properties that finalisers queued for the calling thread.</summary>
        internal static int ReleaseAbandoned()
        {
            if (s_abandoned.IsEmpty ||
                !s_abandoned.TryGetValue(Environment.CurrentManagedThreadId, out ConcurrentQueue<IntPtr>? queue))
                return 0;
            int freed = 0;
            while (queue.TryDequeue(out IntPtr property))
            {
                Destroy(property);
                freed++;
            }
            return freed;
        }
    }

    /// <summary>Owns one vortan_predicate and a reference on its qudit's handle.</summary>
    internal sealed class ControlHandle : SafeHandle
    {
        private QuditHandle? _qudit;

        internal ControlHandle() : base(IntPtr.Zero, ownsHandle: true) { }

        public override bool IsInvalid => handle == IntPtr.Zero;

        internal QuditHandle Qudit => _qudit!;

        /// <summary>Takes the predicate; <paramref name="qudit"/> must already carry the reference this handle will give back.</summary>
        internal void Adopt(IntPtr predicate, QuditHandle qudit)
        {
            _qudit = qudit;
            qudit.AddControl();
            SetHandle(predicate);
        }

        protected override void Dispose(bool disposing)
        {
            if (disposing)
            {
                base.Dispose(true);
                return;
            }
            QuditHandle.t_finalizing = true;
            try { base.Dispose(false); }
            finally { QuditHandle.t_finalizing = false; }
        }

        protected override unsafe bool ReleaseHandle()
        {
            // The predicate goes first: the property must outlive it.
            IntPtr predicate = handle;
            Native.vortan_predicate_destroy(&predicate);
            _qudit!.RemoveControl();
            _qudit.DangerousRelease();
            return true;
        }
    }

    /// <summary>
    /// Holds a reference on the handles of one call, so that no Dispose or finaliser
    /// frees them while the library works with their raw pointers.
    /// </summary>
    internal struct Lease : IDisposable
    {
        private readonly SafeHandle[] _held;
        private int _count;

        /// <summary>Raw pointers of the qudits, in the order given.</summary>
        public readonly IntPtr[] Qudits;
        /// <summary>Raw pointers of the controls, in the order given.</summary>
        public readonly IntPtr[] Controls;

        internal Lease(Qudit[] qudits, Control[] controls)
        {
            _held = new SafeHandle[qudits.Length + controls.Length];
            _count = 0;
            Qudits = qudits.Length == 0 ? Array.Empty<IntPtr>() : new IntPtr[qudits.Length];
            Controls = controls.Length == 0 ? Array.Empty<IntPtr>() : new IntPtr[controls.Length];
            int thread = Environment.CurrentManagedThreadId;
            try
            {
                for (int i = 0; i < qudits.Length; i++)
                {
                    QuditHandle h = (qudits[i] ?? throw new ArgumentNullException(nameof(qudits), "no qudit may be null")).Handle;
                    Qudits[i] = Take(h);
                    h.Owner = thread;
                }
                for (int i = 0; i < controls.Length; i++)
                {
                    ControlHandle h = (controls[i] ?? throw new ArgumentNullException(nameof(controls), "no control may be null")).Handle;
                    Controls[i] = Take(h);
                    h.Qudit.Owner = thread;
                }
            }
            catch
            {
                Dispose();
                throw;
            }
        }

        private IntPtr Take(SafeHandle h)
        {
            if (h.IsClosed) throw new ObjectDisposedException(h is QuditHandle ? nameof(Vortan.Qudit) : nameof(Control));
            bool added = false;
            h.DangerousAddRef(ref added); // throws as well if disposed meanwhile
            _held[_count++] = h;
            return h.DangerousGetHandle();
        }

        public void Dispose()
        {
            for (int i = 0; i < _count; i++) _held[i].DangerousRelease();
            _count = 0;
        }
    }
}
