# %% [markdown]
# # Learning from a spreadsheet
#
# Most networks are not drawn but learned. This page takes a table of loans as a bank might have it, with
# numbers, odd texts and gaps, and makes a network of it: numbers are cut into intervals, links are found,
# tables are counted. Then it is tested on cases that were not learned from. It takes ten minutes.
#
# First the spreadsheet. This one is made up, so that we know what is true; in its place your own would be read
# by `pandas.read_csv`.

# %%
import bravic
import numpy
import pandas


def make_loans(count, chance):
    age = chance.gamma(9, 4.4, count).clip(18, 85).round()
    jobs = ["employed", "self-employed", "student / trainee", "retired"]
    job = chance.choice(jobs, count, p=[0.7, 0.2, 0.05, 0.05])
    job[age > 66] = "retired"
    job[(age < 24) & (chance.random(count) < 0.5)] = "student / trainee"
    yearly = pandas.Series(job).map({"employed": 40, "self-employed": 44, "student / trainee": 14, "retired": 25})
    income = (yearly * chance.lognormal(0, 0.35, count)).round(1).to_numpy()
    home = numpy.where(chance.random(count) < (age - 18) / 80, "owns", "rents")
    saved = income * chance.random(count)
    savings = numpy.select([saved > 22, saved > 8], ["> 10 000", "some"], "none")
    purpose = chance.choice(["car", "kitchen", "studies", "other"], count, p=[0.4, 0.25, 0.1, 0.25])
    risk = 0.04 + 0.30 * (income < 22) + 0.22 * (savings == "none") + 0.10 * (job == "self-employed")
    late = numpy.where(chance.random(count) < risk, "yes", "no")
    loans = pandas.DataFrame({"Age": age, "Job": job, "Income (1000)": income, "Home": home})
    loans = loans.assign(Savings=savings, Purpose=purpose, Late=late)
    loans.loc[chance.random(count) < 0.15, "Income (1000)"] = numpy.nan  # not everybody says
    loans.loc[chance.random(count) < 0.10, "Savings"] = None
    return loans


loans = make_loans(6000, numpy.random.default_rng(7))
loans.head()

# %% [markdown]
# ## Numbers into intervals
#
# A node has states, so that numbers need intervals. "information" cuts where it tells most about the node that
# we are after, and no finer than the data bears; a number that tells nothing about it would stay in one piece.
#
# A part of the rows is kept for the test, and nothing looks at it before: neither the intervals nor the links.

# %%
known = 4500
cut = loans.copy()
for column in ("Age", "Income (1000)"):
    bounds = bravic.discretize(loans[column][:known], "information", target=loans["Late"][:known])
    print(column, bounds.tolist())
    cut[column] = pandas.cut(loans[column], bounds, right=False).astype(str).replace("nan", None)
train, test = cut.iloc[:known], cut.iloc[known:]
train.head()

# %% [markdown]
# ## Links
#
# `learn_structure` looks for the links that explain the table best: each link costs as many parameters as it
# brings, and has to earn them ("bic"). Tiers keep it from nonsense: nobody's age follows from a loan that was
# not paid back. A row with a gap counts wherever its gap does not matter.

# %%
tiers = {"Age": 0, "Job": 1, "Home": 2, "Purpose": 2, "Income (1000)": 2, "Savings": 3, "Late": 4}
net = bravic.learn_structure(train, "bic", tiers=tiers, max_parents=3, seed=1)
for node in net:
    print(f"{node.label:14} <- {[parent.label for parent in node.parents]}")
net

# %% [markdown]
# We made the table, so we can check. Savings do follow from income, income from the job, home from age, and the
# purpose from nothing. Lateness follows from income and savings, and a little from the job, which was not
# found: that is too weak to be worth its parameters in so few rows. And the job seems to bear on the home,
# which it does not: but age was cut into no more than two intervals, and the job knows more of the age than
# they do. Links between intervals say what they say about intervals.
#
# A score tells how well links explain rows; compare only scores of the same rows.

# %%
unlinked = bravic.learn_structure(train, forbid=[(a, b) for a in train for b in train if a != b])
pandas.Series({"no links": unlinked.score(train), "found": net.score(train)}, name="bic").round(0)

# %% [markdown]
# ## Tables, with gaps filled in by what is known
#
# Counting leaves out rows with gaps where they matter. Expectation and maximization ("em") spreads such a row
# over what the net believes of it, learns again, and so on, until the log likelihood stays where it is.
# `prior=1` begins every row of a table with one made-up case, so that what never occurred is improbable and not
# impossible.

# %%
before = net.infer(train, targets=[])["logprob"].sum()
after = net.learn(train, "em", prior=1.0)
print(f"log likelihood by counting {before:.1f}, by EM {after:.1f}")
net["Late"]

# %% [markdown]
# ## Does it foretell anything?
#
# The honest test: rows that were not learned from, the answer hidden. The *log loss* is the mean surprise at
# what came true, lower is better; a net that always says the average rate is the one to beat. "tan" is a
# classifier: every node hangs on the target, and on one other node.

# %%
truth = (test["Late"] == "yes").to_numpy()
unseen = test.drop(columns="Late")


def log_loss(probability):
    return float(-numpy.log(numpy.where(truth, probability, 1 - probability)).mean())


classifier = bravic.learn_structure(train, method="tan", target="Late", seed=1)
classifier.learn(train, "em", prior=1.0)
rate = (train["Late"] == "yes").mean()
judged = {
    "always the average": log_loss(numpy.full(len(test), rate)),
    "classifier": log_loss(classifier.infer(unseen, ["Late"])["Late=yes"]),
    "the net": log_loss(net.infer(unseen, ["Late"])["Late=yes"]),
}
pandas.Series(judged, name="log loss").round(4)

# %% [markdown]
# Both are far better than the average. The classifier is a little ahead: it is made for this one question, and
# so it looks at the job, too.
#
# And is the net *calibrated*: of those of whom it says 30 %, are 30 % late?

# %%
foretold = net.infer(unseen, ["Late"])["Late=yes"]
groups = pandas.cut(foretold, [0, 0.05, 0.1, 0.2, 0.4, 1.0])
pandas.DataFrame({"foretold": foretold, "late": truth}).groupby(groups, observed=True).agg(
    loans=("late", "size"), foretold=("foretold", "mean"), late=("late", "mean")
).round(3)

# %% [markdown]
# ## More than a classifier
#
# A network answers any question, not only the one it was tested for: what do we expect the savings of somebody
# to be who paid late? What about a customer of whom two things are known? States go by the names that the
# spreadsheet has.

# %%
with net.given(Late="yes"):
    savings = net["Savings"]
    print({label: f"{belief:.3f}" for label, belief in zip(savings.labels, savings.beliefs)})
with net.given(Job="student / trainee", Home="rents"):
    late = net["Late"]
    print(f"a student who rents: late with probability {late.beliefs[late.state('yes')]:.3f}")
    print({name: round(bits, 4) for name, bits in net.information("Late").items()})

# %% [markdown]
# The last line ranks what else one should ask such a customer, in bits. The net can go on from here:
# `net.save("loans.bif")` writes it for other programs, `net.counts()` collects next month's rows, on many
# machines if need be, and [a decision](decision.html) tells what to do with such a probability.
