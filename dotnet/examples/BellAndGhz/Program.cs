using System;
using System.IO;
using Vortan;

namespace BellAndGhz
{
    /// <summary>A host that prepares a Bell pair and a qutrit GHZ state and prints histograms of their measurements.</summary>
    public static class Program
    {
        /// <summary>Runs both circuits with 1000 shots each.</summary>
        public static int Main(string[] args)
        {
            int shots = args.Length > 0 ? int.Parse(args[0]) : 1000;
            Run(Console.Out, shots);
            return 0;
        }

        /// <summary>Prints the library version and both histograms to <paramref name="output"/>.</summary>
        public static void Run(TextWriter output, int shots)
        {
            output.WriteLine($"libvortan {VortanLibrary.VersionText}");

            // Bell pair: H on a, then flip b where a is 1. Only |0,0> and |1,1> come up.
            output.WriteLine($"Bell pair, {shots} shots:");
            output.Write(Simulation.Shots(shots, new[] { 2, 2 }, q =>
            {
                q[0].Hadamard();
                using Control aIs1 = q[0].EqualTo(1);
                q[1].Cycle(aIs1);
            }));

            // Qutrit GHZ: H spreads a over 0, 1, 2; a cycle (0 to 1) under "a is 1" and a
            // shift (0 to 2) under "a is 2" copy a's level into b and c, in one batch.
            // Only |0,0,0>, |1,1,1> and |2,2,2> come up.
            output.WriteLine($"qutrit GHZ, {shots} shots:");
            output.Write(Simulation.Shots(shots, new[] { 3, 3, 3 }, q =>
            {
                using Control aIs1 = q[0].EqualTo(1);
                using Control aIs2 = q[0].EqualTo(2);
                new Batch()
                    .Hadamard(q[0])
                    .Cycle(q[1], aIs1).Cycle(q[2], aIs1)
                    .Shift(q[1], aIs2).Shift(q[2], aIs2)
                    .Execute();
            }));
        }
    }
}
