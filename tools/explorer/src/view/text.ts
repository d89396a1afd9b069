// Numbers as people read them.

/** A probability in percent: "45.3", "100", "0", "<0.1" where it is next to none but not none. */
export function percent(p: number): string {
  if (p === 0 || p === 1) return p === 0 ? "0" : "100";
  if (p < 0.0005) return "<0.1";
  if (p >= 0.9995) return ">99.9";
  return (100 * p).toFixed(1);
}

/** A number with few digits: "0.0045", "77", "1.2e-9". */
export function short(x: number, digits = 3): string {
  if (x === 0 || !Number.isFinite(x)) return x === Infinity ? "∞" : x === -Infinity ? "−∞" : String(x);
  const size = Math.abs(x);
  const text = size < 1e-4 || size >= 1e6 ? x.toExponential(digits - 1) : String(Number(x.toPrecision(digits)));
  return text.replace("-", "−");
}

/** A change of a probability, in points of a percent: "+38.1", "−0.5". */
export function points(change: number): string {
  return `${change < 0 ? "−" : "+"}${(100 * Math.abs(change)).toFixed(1)}`;
}

/** "1 in 222": how rare something of this probability is. */
export function oneIn(logProbability: number): string {
  if (logProbability > Math.log(0.5)) return "";
  const digits = -logProbability / Math.LN10;
  if (digits > 12) return `1 in 10^${Math.round(digits)}`;
  return `1 in ${Math.round(Math.exp(-logProbability)).toLocaleString("en-US")}`;
}

/** A probability that may be too small for a double, given by its logarithm. */
export function probability(logProbability: number): string {
  if (logProbability > -690) return short(Math.exp(logProbability), 4);
  const exponent = logProbability / Math.LN10;
  return `10^${short(exponent, 5)}`;
}

/** How findings go together, in words. */
export function surpriseInWords(bits: number): string {
  if (bits > 3) return "They are hard to reconcile: together far rarer than one by one.";
  if (bits > 0.5) return "They surprise together: rarer than one by one.";
  if (bits < -0.5) return "They support each other.";
  return "They go together about as chance would have it.";
}
