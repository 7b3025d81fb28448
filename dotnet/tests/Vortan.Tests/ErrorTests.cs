using System;
using System.Collections.Generic;
using System.Threading;
using Xunit;

namespace Vortan.Tests
{
    public class ErrorTests
    {
        [Theory]
        [InlineData(0)]
        [InlineData(1)]
        [InlineData(4)]
        [InlineData(-1)]
        public void Bad_dimension_is_code_4_from_create(int dimension)
        {
            var e = Assert.Throws<InvalidDimensionException>(() => new Qudit(dimension));
            Assert.Equal(ErrorCode.InvalidDimension, e.Code);
            Assert.Equal("vortan_quantum_property_create", e.Function);
            Assert.True(e.Line > 0);
            Assert.Equal(dimension == 1 ? "dim must be >= 2" : "dimension must be positive and not exceed MAX_DIMENSION", e.Message);
        }

        [Fact]
        public void Non_finite_fraction_is_code_2_naming_the_gate()
        {
            using var q = new Qudit(2);
            var e = Assert.Throws<VortanInvalidArgumentException>(() => q.X(double.NaN));
            Assert.Equal("fraction must be finite", e.Message);
            Assert.Equal("vortan_x_operation", e.Function);
            Assert.Throws<VortanInvalidArgumentException>(() => q.ISwap(q, double.PositiveInfinity));
        }

        [Fact]
        public void Y_on_a_qutrit_is_code_2_and_leaves_it_alone()
        {
            using var q = new Qudit(3);
            var e = Assert.Throws<VortanInvalidArgumentException>(() => q.Y());
            Assert.Equal("Y gate requires dimension 2 (qubit)", e.Message);
            Assert.Equal(1.0, q.Probabilities()[0], 6);
        }

        [Fact]
        public void Impossible_forced_outcome_is_code_2()
        {
            using var q = new Qudit(3);
            q.Cycle();
            Assert.Throws<VortanInvalidArgumentException>(() => Simulation.ForceMeasure(new[] { q }, new[] { 0 }));
            Simulation.ForceMeasure(new[] { q }, new[] { 1 });
        }

        [Fact]
        public void Target_among_its_controls_is_code_100()
        {
            using var q = new Qudit(2);
            using var c = q.EqualTo(0);
            var e = Assert.Throws<TargetControlOverlapException>(() => q.Hadamard(c));
            Assert.Equal("Hadamard operation has overlapping targets and controls", e.Message);
            Assert.Equal(1, q.StateSize);
        }

        [Fact]
        public void Swapping_a_qubit_with_a_qutrit_is_code_101()
        {
            using var a = new Qudit(2);
            using var b = new Qudit(3);
            Assert.Throws<IncompatibleDimensionsException>(() => a.Swap(b));
            Assert.Throws<IncompatibleDimensionsException>(() => a.ISwap(b, 0.5));
        }

        [Fact]
        public void A_state_past_its_limit_is_code_102_and_unchanged()
        {
            var qs = new Qudit[11];
            try
            {
                for (int i = 0; i < qs.Length; i++) qs[i] = new Qudit(3);
                using var never = qs[0].EqualTo(2);
                for (int i = 1; i < qs.Length; i++) qs[i].Cycle(never); // merges all into one state
                for (int i = 0; i < 10; i++) qs[i].Hadamard(); // 3^10 = 59049 entries
                var e = Assert.Throws<StateSizeExceededException>(() => qs[10].Hadamard());
                Assert.Equal(ErrorCode.StateSizeExceeded, e.Code);
                Assert.Equal(59049, qs[10].StateSize);
            }
            finally
            {
                foreach (var q in qs) q?.Dispose();
            }
        }

        [Fact]
        public void Thirteen_qudits_in_one_measurement_is_code_5()
        {
            var qs = new Qudit[13];
            try
            {
                for (int i = 0; i < qs.Length; i++) qs[i] = new Qudit(2);
                var e = Assert.Throws<InvalidQuditNumberException>(() => Simulation.Measure(qs));
                Assert.Equal("vortan_measure_properties", e.Function);
            }
            finally
            {
                foreach (var q in qs) q?.Dispose();
            }
        }

        [Fact]
        public void Every_code_makes_its_own_exception_type()
        {
            var types = new Dictionary<ErrorCode, Type>
            {
                [ErrorCode.NullPointer] = typeof(VortanNullPointerException),
                [ErrorCode.InvalidArgument] = typeof(VortanInvalidArgumentException),
                [ErrorCode.BufferTooSmall] = typeof(VortanBufferTooSmallException),
                [ErrorCode.InvalidDimension] = typeof(InvalidDimensionException),
                [ErrorCode.InvalidQuditNumber] = typeof(InvalidQuditNumberException),
                [ErrorCode.TargetControlOverlap] = typeof(TargetControlOverlapException),
                [ErrorCode.IncompatibleDimensions] = typeof(IncompatibleDimensionsException),
                [ErrorCode.StateSizeExceeded] = typeof(StateSizeExceededException),
                [ErrorCode.OutOfMemory] = typeof(VortanOutOfMemoryException),
                [ErrorCode.Internal] = typeof(VortanInternalException),
                [(ErrorCode)7] = typeof(VortanException),
            };
            foreach (var (code, type) in types)
            {
                VortanException e = VortanException.Create(code, "m", "f", 3);
                Assert.IsType(type, e);
                Assert.Equal(code, e.Code);
                Assert.Equal(("m", "f", 3u), (e.Message, e.Function, e.Line));
            }
        }

        [Fact]
        public void Library_texts_and_limits()
        {
            Assert.Equal("1.4.0", VortanLibrary.VersionText);
            Assert.Equal(new Version(1, 4, 0), VortanLibrary.Version);
            Assert.Equal((3, 12, 100000), (VortanLibrary.MaxDimension, VortanLibrary.MaxQudits, VortanLibrary.MaxStateSize));
            Assert.Equal("State size exceeded", VortanLibrary.GetErrorString(ErrorCode.StateSizeExceeded));
            Assert.Equal("Unknown error", VortanLibrary.GetErrorString((ErrorCode)6));
            Assert.True(VortanLibrary.IsValidDimension(1));
            Assert.False(VortanLibrary.IsValidDimension(4));
        }

        [Fact]
        public void What_dotnet_can_refuse_never_reaches_the_library()
        {
            using var q = new Qudit(2);
            Assert.Throws<ArgumentNullException>(() => q.Swap(null!));
            Assert.Throws<ArgumentNullException>(() => q.Shift((Control[])null!));
            Assert.Throws<ArgumentNullException>(() => q.Shift(new Control[] { null! }));
            Assert.Throws<ArgumentNullException>(() => new Control(null!, 0, true));
            Assert.Throws<ArgumentException>(() => Simulation.Measure());
            Assert.Throws<ArgumentException>(() => Simulation.PhaseRotate(1.0));
            Assert.Throws<ArgumentException>(() => Simulation.ForceMeasure(new[] { q }, new[] { 0, 0 }));
            Assert.Throws<ArgumentOutOfRangeException>(() => Simulation.Shots(-1, new[] { 2 }, _ => { }));
        }
    }

    [Collection("serial")]
    public class ErrorEventTests
    {
        [Fact]
        public void Handlers_see_each_failure_of_their_thread_before_it_is_thrown()
        {
            var seen = new List<ErrorReportedEventArgs>();
            int thread = Environment.CurrentManagedThreadId;
            EventHandler<ErrorReportedEventArgs> handler = (_, e) => { if (Environment.CurrentManagedThreadId == thread) seen.Add(e); };
            VortanLibrary.ErrorReported += handler;
            try
            {
                using var q = new Qudit(3);
                Assert.Throws<VortanInvalidArgumentException>(() => q.Y(0.5));
                Assert.Single(seen);
                Assert.Equal(ErrorCode.InvalidArgument, seen[0].Code);
                Assert.Equal("vortan_y_operation", seen[0].Function);
                Assert.Equal("Y gate requires dimension 2 (qubit)", seen[0].Message);
            }
            finally
            {
                VortanLibrary.ErrorReported -= handler;
            }
            Assert.Throws<InvalidDimensionException>(() => new Qudit(7));
            Assert.Single(seen);
        }

        [Fact]
        public void A_throwing_handler_replaces_the_failure_and_the_callback_survives_collection()
        {
            EventHandler<ErrorReportedEventArgs> handler = (_, e) => throw new InvalidOperationException("from handler: " + e.Code);
            VortanLibrary.ErrorReported += handler;
            try
            {
                GC.Collect();
                GC.WaitForPendingFinalizers();
                var e = Assert.Throws<InvalidOperationException>(() => new Qudit(9));
                Assert.Equal("from handler: InvalidDimension", e.Message);
                // The next failure is the library's own again.
                VortanLibrary.ErrorReported -= handler;
                Assert.Throws<InvalidDimensionException>(() => new Qudit(9));
            }
            finally
            {
                VortanLibrary.ErrorReported -= handler;
            }
        }

        [Fact]
        public void Cleanup_drops_every_handler()
        {
            int calls = 0;
            VortanLibrary.ErrorReported += (_, _) => Interlocked.Increment(ref calls);
            VortanLibrary.Cleanup();
            Assert.Throws<InvalidDimensionException>(() => new Qudit(0));
            Assert.Equal(0, calls);
        }
    }
}
