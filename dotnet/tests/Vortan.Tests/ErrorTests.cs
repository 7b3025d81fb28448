using System;
using System.Collections.Generic;
using System.Threading;
using Xunit;

namespace Vortan.Tests
{
    public class ErrorTests
    {
        private const string NotFinite = "fraction must be finite", Create = "vortan_quantum_property_create",
                             BadDimension = "dimension must be positive and not exceed MAX_DIMENSION";

        // (exception, function, message, dimensions of the qudits made, the failing call)
        public static TheoryData<Type, string, string, int[], Action<Owned, Qudit[]>> Failures => new()
        {
            { typeof(InvalidDimensionException), Create, "dim must be >= 2", Array.Empty<int>(), (o, _) => o.Add(new Qudit(1)) },
            { typeof(InvalidDimensionException), Create, BadDimension, Array.Empty<int>(), (o, _) => o.Add(new Qudit(0)) },
            { typeof(InvalidDimensionException), Create, BadDimension, Array.Empty<int>(), (o, _) => o.Add(new Qudit(-1)) },
            { typeof(InvalidDimensionException), Create, BadDimension, Array.Empty<int>(), (o, _) => o.Add(new Qudit(4)) },
            { typeof(VortanInvalidArgumentException), "vortan_x_operation", NotFinite, new[] { 2 }, (_, q) => q[0].X(double.NaN) },
            { typeof(VortanInvalidArgumentException), "vortan_i_swap_operation", NotFinite,
              new[] { 2 }, (_, q) => q[0].ISwap(q[0], double.PositiveInfinity) },
            { typeof(VortanInvalidArgumentException), "vortan_y_operation", "Y gate requires dimension 2 (qubit)",
              new[] { 3 }, (_, q) => q[0].Y() },
            { typeof(VortanInvalidArgumentException), "vortan_forced_measure_properties",
              "Forced measurement outcome is inconsistent with the current state amplitudes",
              new[] { 3 }, (_, q) => { q[0].Cycle(); Simulation.ForceMeasure(q, new[] { 0 }); } },
            { typeof(InvalidQuditNumberException), "vortan_measure_properties",
              "num_qudits 13 exceeds compile-time MAX_NUM_QUDITS (12) and dynamic fallback is disabled",
              Array.Empty<int>(), (o, _) => Simulation.Measure(o.Qudits(13, 2)) },
            { typeof(TargetControlOverlapException), "vortan_hadamard_operation", "Hadamard operation has overlapping targets and controls",
              new[] { 2 }, (o, q) => q[0].Hadamard(o.Add(q[0].EqualTo(0))) },
            { typeof(IncompatibleDimensionsException), "vortan_swap_operation", "Targets of swap operation have different dimensions",
              new[] { 2, 3 }, (_, q) => q[0].Swap(q[1]) },
            { typeof(IncompatibleDimensionsException), "vortan_i_swap_operation", "Targets of fractional-i-swap operation have different dimensions",
              new[] { 2, 3 }, (_, q) => q[0].ISwap(q[1], 0.5) },
            { typeof(StateSizeExceededException), "vortan_hadamard_operation",
              "Hadamard on 1 target(s) would produce ~177147 intermediate basis states (current: 59049), exceeding limit of 100000. "
              + "Measure some qudits first to reduce state size.",
              Array.Empty<int>(), (o, _) =>
              {
                  Qudit[] qs = o.Qudits(11, 3);
                  Control never = o.Add(qs[0].EqualTo(2));
                  for (int i = 1; i < qs.Length; i++) qs[i].Cycle(never); // merges all into one state
                  for (int i = 0; i < 10; i++) qs[i].Hadamard(); // 3^10 = 59049 entries
                  try { qs[10].Hadamard(); }
                  finally { Assert.Equal(59049, qs[10].StateSize); } // refused, the state left as it was
              } },
        };

        [Theory]
        [MemberData(nameof(Failures))]
        public void A_failure_throws_the_type_of_its_code_with_the_library_record(
            Type type, string function, string message, int[] dimensions, Action<Owned, Qudit[]> call)
        {
            using var owned = new Owned();
            var qudits = new Qudit[dimensions.Length];
            for (int i = 0; i < qudits.Length; i++) qudits[i] = owned.Add(new Qudit(dimensions[i]));
            var e = (VortanException)Assert.Throws(type, () => call(owned, qudits));
            Assert.Equal((function, message), (e.Function, e.Message));
            Assert.True(e.Line > 0);
        }

        [Fact]
        public void Every_code_makes_its_own_exception_type()
        {
            var types = new Dictionary<ErrorCode, Type>
            {
                [ErrorCode.NullPointer] = typeof(VortanNullPointerException), [ErrorCode.InvalidArgument] = typeof(VortanInvalidArgumentException),
                [ErrorCode.BufferTooSmall] = typeof(VortanBufferTooSmallException), [ErrorCode.InvalidDimension] = typeof(InvalidDimensionException),
                [ErrorCode.InvalidQuditNumber] = typeof(InvalidQuditNumberException), [ErrorCode.TargetControlOverlap] = typeof(TargetControlOverlapException),
                [ErrorCode.IncompatibleDimensions] = typeof(IncompatibleDimensionsException), [ErrorCode.StateSizeExceeded] = typeof(StateSizeExceededException),
                [ErrorCode.OutOfMemory] = typeof(VortanOutOfMemoryException), [ErrorCode.Internal] = typeof(VortanInternalException),
                [(ErrorCode)7] = typeof(VortanException),
            };
            foreach (var (code, type) in types)
            {
                VortanException e = VortanException.Create(code, "m", "f", 3);
                Assert.IsType(type, e);
                Assert.Equal((code, "m", "f", 3u), (e.Code, e.Message, e.Function, e.Line));
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
                Assert.Equal((ErrorCode.InvalidArgument, "vortan_y_operation", "Y gate requires dimension 2 (qubit)"),
                             (seen[0].Code, seen[0].Function, seen[0].Message));
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
