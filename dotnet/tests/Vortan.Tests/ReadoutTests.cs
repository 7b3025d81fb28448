using System;
using System.IO;
using System.Linq;
using System.Numerics;
using System.Text.RegularExpressions;
using System.Threading;
using Xunit;

namespace Vortan.Tests
{
    public class ReadoutTests
    {
        [Fact]
        public void Read_outs_follow_the_listed_order_first_qudit_fastest()
        {
            using var a = new Qudit(3);
            using var b = new Qudit(2);
            using var c = new Qudit(3);
            a.Cycle();
            a.Cycle();
            b.Cycle();
            double[] bc = Simulation.Probabilities(b, c), cb = Simulation.Probabilities(c, b);
            Assert.Equal(6, bc.Length);
            Assert.Equal(1.0, bc[1 + 2 * 0], 6);   // b = 1, c = 0
            Assert.Equal(1.0, cb[0 + 3 * 1], 6);   // c = 0, b = 1
            Assert.Equal(1.0, bc.Sum(), 6);
            Assert.Equal(new[] { 2, 1, 0 }, Simulation.Measure(a, b, c));
            Assert.Equal(new[] { 0, 2, 1 }, Simulation.Measure(c, a, b));
            Assert.Equal(2, a.Measure());
            Assert.Equal(3, Simulation.OutcomeIndex(new[] { 2, 3 }, new[] { 1, 1 }));
            Assert.Equal(new[] { 1, 1 }, Simulation.OutcomeLevels(new[] { 3, 2 }, 4));
        }

        [Fact]
        public void Projection_and_forced_measurement_answer_and_collapse()
        {
            using var q = new Qudit(3);
            q.Cycle();
            using var is1 = q.EqualTo(1);
            using var is2 = q.EqualTo(2);
            Assert.True(Simulation.Project(is1));
            Assert.False(Simulation.Project(is2));
            Assert.Equal(1.0, q.Probabilities()[1], 6);
            using var r = new Qudit(3);
            r.Hadamard();
            Simulation.ForceMeasure(new[] { q, r }, new[] { 1, 2 });
            Assert.Equal(1.0, r.Probabilities()[2], 6);
        }

        [Fact]
        public void Shots_count_every_run()
        {
            Histogram h = Simulation.Shots(200, new[] { 2, 3 }, q => { q[0].Hadamard(); q[1].Cycle(); });
            Assert.Equal(200, h.Total);
            Assert.Equal(200, h.Count(0, 1) + h.Count(1, 1));
            Assert.True(h.Count(0, 1) > 40 && h.Count(1, 1) > 40);
            Assert.Equal(0, h[Simulation.OutcomeIndex(new[] { 2, 3 }, new[] { 0, 0 })]);
        }

        [Fact]
        public void Example_host_prints_only_correlated_outcomes()
        {
            var output = new StringWriter();
            BellAndGhz.Program.Run(output, 300);
            string text = output.ToString();
            Assert.StartsWith("libvortan 1.4.0", text);
            var counts = Regex.Matches(text, @"^\|([0-9,]+)⟩\s+(\d+)", RegexOptions.Multiline)
                              .Select(m => (Levels: m.Groups[1].Value.Split(','), Count: int.Parse(m.Groups[2].Value)))
                              .ToList();
            Assert.Equal(4 + 27, counts.Count);
            Assert.Equal(600, counts.Sum(c => c.Count));
            foreach (var (levels, count) in counts)
                Assert.True(levels.Distinct().Count() == 1 || count == 0, $"{string.Join(",", levels)} came up {count} times");
            Assert.All(counts.Where(c => c.Levels.Length == 3 && c.Levels.Distinct().Count() == 1), c => Assert.True(c.Count > 50));
        }

        [Fact]
        public void Threads_each_owning_their_qudits_run_side_by_side()
        {
            const int threads = 4, rounds = 150;
            var failures = new Exception?[threads];
            var workers = Enumerable.Range(0, threads).Select(t => new Thread(() =>
            {
                try
                {
                    for (int r = 0; r < rounds; r++)
                    {
                        using var a = new Qudit(3);
                        using var b = new Qudit(3);
                        a.Hadamard();
                        using (var aNot0 = a.NotEqualTo(0)) b.Cycle(aNot0);
                        int[] m = Simulation.Measure(a, b);
                        if ((m[0] == 0) != (m[1] == 0)) throw new Exception($"uncorrelated outcome {m[0]},{m[1]}");
                        if (r % 10 == 0) Abandon(); // the finaliser path, under load
                    }
                    VortanLibrary.ReleaseAbandonedQudits();
                }
                catch (Exception e)
                {
                    failures[t] = e;
                }
            })).ToList();
            workers.ForEach(w => w.Start());
            for (int i = 0; i < 20; i++) { GC.Collect(); Thread.Sleep(5); }
            workers.ForEach(w => w.Join());
            Assert.All(failures, f => Assert.Null(f));

            static void Abandon()
            {
                var q = new Qudit(2);
                var p = new Qudit(2);
                p.Hadamard();
                q.Cycle(p.EqualTo(1));
            }
        }
    }

    public class BatchTests
    {
        [Fact]
        public void A_batch_does_what_the_same_gates_do_one_by_one()
        {
            Complex[,] Run(bool batched)
            {
                using var owned = new Owned();
                Qudit a = owned.Add(new Qudit(2)), b = owned.Add(new Qudit(3)), t = owned.Add(new Qudit(3));
                Control aIs1 = owned.Add(a.EqualTo(1)), bNot0 = owned.Add(b.NotEqualTo(0)), tIs2 = owned.Add(t.EqualTo(2));
                // Line by line the same gates; every opcode, whole and fractional, bare and controlled.
                if (batched)
                {
                    var batch = new Batch().Hadamard(a).Hadamard(b).Cycle(t, aIs1).Shift(t, 0.3, bNot0).Shift(b)
                        .Clock(b, 0.25).Clock(t, bNot0).X(a).X(t, 0.5).Z(t).Z(b, -0.5, aIs1).Y(a, tIs2).Y(a, 0.5)
                        .InverseHadamard(b).FractionalHadamard(t, 0.4).Cycle(b, -0.7)
                        .Swap(b, t).ISwap(b, t, 0.5).ISwap(t, b, aIs1).PhaseRotate(0.9, aIs1, bNot0);
                    Assert.Equal(20, batch.Count);
                    Assert.Equal(20, batch.Execute());
                }
                else
                {
                    a.Hadamard(); b.Hadamard(); t.Cycle(aIs1); t.Shift(0.3, bNot0); b.Shift();
                    b.Clock(0.25); t.Clock(bNot0); a.X(); t.X(0.5); t.Z(); b.Z(-0.5, aIs1); a.Y(tIs2); a.Y(0.5);
                    b.InverseHadamard(); t.FractionalHadamard(0.4); b.Cycle(-0.7);
                    b.Swap(t); b.ISwap(t, 0.5); t.ISwap(b, aIs1); Simulation.PhaseRotate(0.9, aIs1, bNot0);
                }
                return Simulation.DensityMatrix(a, b, t);
            }
            Dense.AssertClose(Run(batched: false), Run(batched: true), "batch against direct calls");
        }

        [Fact]
        public void A_failing_gate_stops_the_run_and_keeps_what_ran()
        {
            using var a = new Qudit(2);
            using var b = new Qudit(3);
            using var aIs0 = a.EqualTo(0);
            var batch = new Batch().Cycle(b).Hadamard(a, aIs0).Cycle(b);
            var e = Assert.Throws<BatchException>(() => batch.Execute());
            Assert.Equal(ErrorCode.Internal, e.Code);
            Assert.Equal(1, e.OperationsExecuted);
            Assert.Contains("overlapping targets and controls", e.Message);
            Assert.Equal(1.0, b.Probabilities()[1], 6);
        }

        [Fact]
        public void Non_finite_fractions_and_nulls_are_refused_when_added()
        {
            using var q = new Qudit(2);
            using var qIs0 = q.EqualTo(0);
            var batch = new Batch();
            Assert.Throws<ArgumentOutOfRangeException>(() => batch.Shift(q, double.NaN));
            Assert.Throws<ArgumentOutOfRangeException>(() => batch.ISwap(q, q, double.NegativeInfinity));
            Assert.Throws<ArgumentOutOfRangeException>(() => batch.PhaseRotate(double.PositiveInfinity, qIs0));
            Assert.Throws<ArgumentNullException>(() => batch.Cycle(null!));
            Assert.Throws<ArgumentNullException>(() => batch.Swap(q, null!));
            Assert.Throws<ArgumentException>(() => batch.PhaseRotate(1.0));
            Assert.Equal(0, batch.Count);
            Assert.Equal(0, batch.Execute());
        }
    }
}
