using System;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;
using Xunit;

namespace Vortan.Tests
{
    /// <summary>Tests that count live native properties, or that set the process-wide callback, run alone.</summary>
    [CollectionDefinition("serial", DisableParallelization = true)]
    public class SerialCollection { }

    [Collection("serial")]
    public class LifetimeTests
    {
        private static void Collect()
        {
            for (int i = 0; i < 3; i++) { GC.Collect(); GC.WaitForPendingFinalizers(); }
        }

        [Fact]
        public void Dispose_frees_once_and_the_disposed_are_refused_before_the_library_sees_them()
        {
            long before = QuditHandle.Live;
            var q = new Qudit(2);
            using var other = new Qudit(2);
            Control c = other.EqualTo(1);
            Assert.Equal(before + 2, QuditHandle.Live);
            q.Dispose();
            q.Dispose();
            c.Dispose();
            Assert.Equal(before + 1, QuditHandle.Live);
            Assert.True(q.IsDisposed && c.IsDisposed);
            Assert.Throws<ObjectDisposedException>(() => q.Hadamard());
            Assert.Throws<ObjectDisposedException>(() => q.StateSize);
            Assert.Throws<ObjectDisposedException>(() => other.Shift(c));
            Assert.Throws<ObjectDisposedException>(() => Simulation.Measure(other, q));
            Assert.Throws<ObjectDisposedException>(() => q.EqualTo(0));
        }

        [MethodImpl(MethodImplOptions.NoInlining)]
        private static void Abandon(int count, bool withControls)
        {
            for (int i = 0; i < count; i++)
            {
                var q = new Qudit(3);
                q.Hadamard();
                if (withControls) _ = q.NotEqualTo(2);
            }
        }

        // Freed by ReleaseAbandonedQudits, or by the next qudit made on this thread.
        [Theory]
        [InlineData(false, false)]
        [InlineData(true, false)]
        [InlineData(false, true)]
        public void Finaliser_queues_a_forgotten_qudit_for_its_thread(bool withControls, bool freedByCreate)
        {
            Collect();
            QuditHandle.ReleaseAbandoned();
            long before = QuditHandle.Live;
            Abandon(5, withControls);
            Assert.Equal(before + 5, QuditHandle.Live);
            Collect();
            // Finalised, but the native property waits for this thread.
            Assert.Equal(before + 5, QuditHandle.Live);
            if (freedByCreate)
            {
                using var q = new Qudit(2);
                Assert.Equal(before + 1, QuditHandle.Live);
                return;
            }
            Assert.Equal(5, VortanLibrary.ReleaseAbandonedQudits());
            Assert.Equal(before, QuditHandle.Live);
            Assert.Equal(0, VortanLibrary.ReleaseAbandonedQudits());
        }

        [Fact]
        public void A_control_keeps_its_disposed_qudit_alive_until_it_goes()
        {
            long before = QuditHandle.Live;
            var a = new Qudit(2);
            using var b = new Qudit(2);
            a.Hadamard();
            Control aIs1 = a.EqualTo(1);
            a.Dispose();
            Assert.Equal(before + 2, QuditHandle.Live);

            // The control still works on the qudit's (unnamed) level: a Bell pair.
            b.Cycle(aIs1);
            Assert.Equal(2, b.ActiveQuditCount);
            aIs1.Dispose();
            aIs1.Dispose();
            Assert.Equal(before + 1, QuditHandle.Live);
            Assert.Equal(2, b.ActiveQuditCount);
        }

        [MethodImpl(MethodImplOptions.NoInlining)]
        private static Qudit EntangledWithAbandonedControls(int controls)
        {
            var a = new Qudit(2);
            var b = new Qudit(2);
            a.Hadamard();
            for (int i = 0; i < controls; i++) b.Cycle(a.EqualTo(1));
            a.Dispose();
            return b;
        }

        [Fact]
        public void Finalisers_of_controls_release_their_qudit_after_the_predicate()
        {
            QuditHandle.ReleaseAbandoned();
            long before = QuditHandle.Live;
            using Qudit b = EntangledWithAbandonedControls(3);
            Collect();
            VortanLibrary.ReleaseAbandonedQudits();
            Assert.Equal(before + 1, QuditHandle.Live);
            // Two cycles undo each other, the third leaves the pair entangled.
            double[] p = b.Probabilities();
            Assert.Equal(0.5, p[0], 6);
            Assert.Equal(0.5, p[1], 6);
        }

        [Fact]
        public void Factorize_takes_the_qudit_out_of_its_state_once_its_controls_are_gone()
        {
            long before = QuditHandle.Live;
            var a = new Qudit(2);
            using var b = new Qudit(3);
            b.Cycle();
            using (Control bIs1 = b.EqualTo(1)) a.Cycle(bIs1); // a product state, merged
            Assert.Equal(2, b.ActiveQuditCount);
            Control aIs0 = a.EqualTo(0);
            Assert.Throws<InvalidOperationException>(() => a.FactorizeAndDispose());
            aIs0.Dispose();
            a.FactorizeAndDispose();
            Assert.True(a.IsDisposed);
            Assert.Equal(1, b.ActiveQuditCount);
            Assert.Equal(before + 1, QuditHandle.Live);
            a.Dispose(); // harmless after factorising
            Assert.Equal(before + 1, QuditHandle.Live);
            Assert.Throws<ObjectDisposedException>(() => a.FactorizeAndDispose());
        }
    }

    public class LayoutTests
    {
        [Fact]
        public void Records_have_the_header_sizes_and_offsets()
        {
            Assert.Equal(Native.ErrorInfoSize, Marshal.SizeOf<ErrorInfo>());
            Assert.Equal((280, 56, 24, 8, 272), (Unsafe.SizeOf<ErrorInfo>(), Unsafe.SizeOf<BatchOp>(), Unsafe.SizeOf<ProbabilityEntry>(),
                                                  Unsafe.SizeOf<DensityElement>(), Unsafe.SizeOf<BatchResult>()));
            Assert.Equal(4, (int)Marshal.OffsetOf<ErrorInfo>(nameof(ErrorInfo.Message)));
            Assert.Equal(264, (int)Marshal.OffsetOf<ErrorInfo>(nameof(ErrorInfo.Function)));
            Assert.Equal(272, (int)Marshal.OffsetOf<ErrorInfo>(nameof(ErrorInfo.Line)));
            Assert.Equal(8, (int)Marshal.OffsetOf<BatchOp>(nameof(BatchOp.Target)));
            Assert.Equal(24, (int)Marshal.OffsetOf<BatchOp>(nameof(BatchOp.Fraction)));
            Assert.Equal(40, (int)Marshal.OffsetOf<BatchOp>(nameof(BatchOp.Predicates)));
            Assert.Equal(48, (int)Marshal.OffsetOf<BatchOp>(nameof(BatchOp.PredicateCount)));
            Assert.Equal(8, (int)Marshal.OffsetOf<ProbabilityEntry>(nameof(ProbabilityEntry.OutcomeValues)));
            Assert.Equal(16, (int)Marshal.OffsetOf<ProbabilityEntry>(nameof(ProbabilityEntry.OutcomeCount)));
            Assert.Equal(4, (int)Marshal.OffsetOf<DensityElement>(nameof(DensityElement.Imag)));
            Assert.Equal(12, (int)Marshal.OffsetOf<BatchResult>(nameof(BatchResult.ErrorMessage)));
        }
    }
}
