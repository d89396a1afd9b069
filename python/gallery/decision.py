# %% [markdown]
# # A decision
#
# Beliefs are for acting on. A *decision network* has, beside nodes of chance, *decisions*, whose states
# somebody chooses, and *utilities*, which say what an outcome is worth. This page takes one night in a
# vineyard: shall we light the frost candles? In ten minutes you see how the best policy is found, what a
# forecast is worth in money, and when to stop paying for knowledge.

# %%
import bravic
import numpy
import pandas

vineyard = bravic.Net("Vineyard")
frost = vineyard.add_node("Frost", ["none", "light", "hard"], table=[0.70, 0.20, 0.10])
forecast = vineyard.add_node(
    "Forecast",
    ["mild", "cold"],
    parents=[frost],
    table=[[0.85, 0.15], [0.30, 0.70], [0.10, 0.90]],
)
candles = vineyard.add_node("Candles", ["light", "leave"], kind="decision", parents=[forecast])
harvest = vineyard.add_node(
    "Harvest", kind="utility", parents=[frost, candles], table=[[100, 100], [95, 40], [60, 0]]
)
cost = vineyard.add_node("Cost", kind="utility", parents=[candles], table=[-18, 0])
vineyard

# %% [markdown]
# What it says, in thousands of euros: a harvest is worth 100. Light frost takes 60 of it, hard frost all;
# candles save most of it in a light frost and some in a hard one, and cost 18 a night. Utilities add up. The
# link from the forecast to the decision does not say that one causes the other: it says what is *known* when
# the decision is made.

# %%
harvest

# %% [markdown]
# ## The best policy
#
# A policy says what to choose for everything that may be known. `decide` finds the best one and puts it into
# the decision's table; what it answers is what to expect of it.

# %%
best = vineyard.decide()
policy = {known: candles.states[int(choice)] for known, choice in zip(forecast.states, candles.function)}
print(policy, f"expected: {best:.2f}")

# %% [markdown]
# So the forecast decides. Given that it says "cold", what are the two choices worth? A decision that has been
# made is a finding like any other.

# %%
with vineyard.given(Forecast="cold"):
    worth = {}
    for choice in candles.states:
        with vineyard.given(Candles=choice):
            worth[choice] = vineyard.expected_utility
pandas.Series(worth, name="worth when the forecast is cold").round(2)

# %% [markdown]
# ## What is a forecast worth?
#
# Take the link away, and the decision is made blindly. The difference is what the forecast is worth: pay less
# for it, and it is a good buy.

# %%
blind = vineyard.copy()
blind["Candles"].remove_parent("Forecast")
without = blind.decide()
print(f"without a forecast {without:.2f}, with it {best:.2f}: it is worth {best - without:.2f}")

# %% [markdown]
# `value_of_observing` answers that in one call, for anything that could be known before the decision. A node
# that tells everything about the night bounds what *any* forecast can be worth.

# %%
{
    "the forecast": round(blind.value_of_observing("Forecast", "Candles"), 3),
    "to know the frost itself": round(blind.value_of_observing("Frost", "Candles"), 3),
}

# %% [markdown]
# No service for forecasts should be paid more than the second number, however good it says it is. And once the
# forecast is there, what is perfect knowledge still worth?

# %%
round(vineyard.value_of_observing("Frost", "Candles"), 3)

# %% [markdown]
# ## Buying a measurement
#
# For 2 a night a neighbour reads a thermometer down in the valley at midnight. To buy it or not is a decision
# of its own, and comes first; the reading is there only if it was bought, else it says "nothing".

# %%
night = vineyard.copy()
night.name = "Night"
buy = night.add_node("Buy", ["yes", "no"], kind="decision", parents=["Forecast"])
nothing = [0.0, 0.0, 1.0]
reading = night.add_node(
    "Reading",
    ["above", "below", "nothing"],
    parents=[buy, "Frost"],
    table=[[[0.95, 0.05, 0.0], [0.20, 0.80, 0.0], [0.01, 0.99, 0.0]], [nothing] * 3],
)
night["Candles"].table = None  # the old policy knows nothing of this
for known in (buy, reading):
    night["Candles"].add_parent(known)
price = night.add_node("Price", kind="utility", parents=[buy], table=[-2, 0])
print(f"expected: {night.decide():.2f}")
for known, choice in zip(forecast.states, buy.function):
    print(f"  forecast {known}: {'buy' if buy.states[int(choice)] == 'yes' else 'do not buy'} the reading")
night

# %% [markdown]
# At this price the reading is worth having, whatever the forecast says. For how long, as it gets dearer?

# %%
rows = []
for paid in (1, 2, 2.4, 2.6):
    price.table = [-paid, 0]
    expected = night.decide()
    bought = [known for known, choice in zip(forecast.states, buy.function) if int(choice) == 0]
    rows.append((paid, round(expected, 3), ", ".join(bought) or "never"))
pandas.DataFrame(rows, columns=["price", "expected", "bought when the forecast is"]).set_index("price")

# %% [markdown]
# After a cold forecast the candles are as good as lit, and a reading seldom changes that; after a mild one it
# can still save a harvest. So that is where it pays longest.
#
# ## How sure must we be?
#
# The table of frosts is itself a guess: there may be more of them than we think. The policy for a range of
# guesses, light frosts being twice as frequent as hard ones:

# %%
rows = []
for chance in numpy.arange(0.05, 1.0, 0.1):
    vineyard["Frost"].table = [1 - chance, chance * 2 / 3, chance / 3]
    expected = vineyard.decide()
    choices = {known: candles.states[int(choice)] for known, choice in zip(forecast.states, candles.function)}
    rows.append({"chance of frost": round(float(chance), 2), **choices, "expected": round(expected, 2)})
pandas.DataFrame(rows).set_index("chance of frost")

# %% [markdown]
# Where both columns say the same, no forecast is needed: below, candles never pay; above, they always do. It is
# only in between that knowing more is worth anything. That is the use of such a network: not the one answer,
# but where it changes.
