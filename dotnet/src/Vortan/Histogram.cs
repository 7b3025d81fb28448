using System;
using System.Text;

namespace Vortan
{
    /// <summary>Counts of measured outcomes of a list of qudits, in the outcome order of <see cref="Simulation"/>.</summary>
    public sealed class Histogram
    {
        private readonly int[] _dimensions;
        private readonly long[] _counts;

        /// <summary>An empty histogram over qudits of these dimensions.</summary>
        public Histogram(int[] dimensions)
        {
            Qudit.ThrowIfNull(dimensions, nameof(dimensions));
            long n = 1;
            foreach (int d in dimensions)
            {
                if (d < 1) throw new ArgumentOutOfRangeException(nameof(dimensions), "dimensions must be positive");
                n = checked(n * d);
            }
            _dimensions = (int[])dimensions.Clone();
            _counts = new long[checked((int)n)];
        }

        /// <summary>The number of outcomes: the product of the dimensions.</summary>
        public int OutcomeCount => _counts.Length;

        /// <summary>The number of outcomes added.</summary>
        public long Total { get; private set; }

        /// <summary>How often the outcome at <paramref name="index"/> came up.</summary>
        public long this[int index] => _counts[index];

        /// <summary>How often the outcome with these levels came up.</summary>
        public long Count(params int[] levels) => _counts[Simulation.OutcomeIndex(_dimensions, levels)];

        /// <summary>Counts one outcome.</summary>
        public void Add(int[] levels)
        {
            _counts[Simulation.OutcomeIndex(_dimensions, levels)]++;
            Total++;
        }

        /// <summary>One line per outcome, such as "|1,0⟩   512  #########", the bar scaled to the largest count.</summary>
        public override string ToString()
        {
            long max = 1;
            foreach (long c in _counts) max = Math.Max(max, c);
            var text = new StringBuilder();
            for (int k = 0; k < _counts.Length; k++)
            {
                string label = "|" + string.Join(",", Simulation.OutcomeLevels(_dimensions, k)) + "⟩";
                text.Append(label.PadRight(2 * _dimensions.Length + 3))
                    .Append(_counts[k].ToString().PadLeft(7)).Append("  ")
                    .Append('#', (int)(40 * _counts[k] / max)).Append('\n');
            }
            return text.ToString();
        }
    }
}
