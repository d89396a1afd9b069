# %% [markdown]
# # A diagnosis
#
# A *belief network* is a picture of what depends on what, and a table of probabilities for each thing in it.
# This page follows one patient through a chest clinic with the small network of Lauritzen and Spiegelhalter
# (1988). In ten minutes you see how findings move beliefs, why a second disease can excuse the first, what to
# examine next, and which numbers of the network the diagnosis hangs on.

# %%
import bravic
import pandas

clinic = bravic.read("../../examples/nets/chest_clinic.dne")
clinic

# %% [markdown]
# A net shows itself as the last line of a cell. Each box is a *node*: something that is in one of several
# *states*. The bars are beliefs, the probabilities of the states as far as anybody knows now. A link says that
# one thing depends directly on another: lung cancer on smoking, the X-ray on whether there is anything in the
# lungs.
#
# The numbers behind it are in each node's table: for each configuration of its parents a distribution over its
# own states.

# %%
clinic["Bronchitis"]

# %%
dyspnea = clinic["Dyspnea"]
print([parent.name for parent in dyspnea.parents], dyspnea.states)
dyspnea.table  # an array: the parents' states, then its own

# %% [markdown]
# ## Findings
#
# The patient is short of breath (*dyspnea*). That is a finding; everything else now has the belief that follows
# from it by the rules of probability, exactly.

# %%
diseases = ["Bronchitis", "LungCancer", "Tuberculosis"]


def beliefs_in(net):
    return {name: net.beliefs()[name]["present"] for name in diseases}


history = {"before anything is known": beliefs_in(clinic)}
clinic.enter(Dyspnea="present")
history["short of breath"] = beliefs_in(clinic)
clinic.enter(VisitAsia="visit")
history["has been to Asia"] = beliefs_in(clinic)
clinic.enter(Smoking="nonsmoker")
history["does not smoke"] = beliefs_in(clinic)
pandas.DataFrame(history).T.round(4)

# %% [markdown]
# Bronchitis explains shortness of breath best. The journey makes tuberculosis nearly five times as probable,
# which is still not probable; it does little to bronchitis. That the patient does not smoke speaks against
# bronchitis and against cancer.

# %%
clinic.enter(XRay="abnormal")
history["abnormal X-ray"] = beliefs_in(clinic)
pandas.DataFrame(history).T.round(4)

# %% [markdown]
# The X-ray turns the picture round: tuberculosis is now the likeliest, and bronchitis has *fallen*, although an
# X-ray does not show bronchitis at all. Tuberculosis accounts for the shortness of breath, so that there is
# less need of another cause. This *explaining away* is what rules of thumb get wrong and a network gets for
# nothing: the two diseases are independent until an effect that they share is known.

# %%
print("independent by the links:", clinic.separated("Tuberculosis", "Bronchitis"))
print("when dyspnea is known:   ", clinic.separated("Tuberculosis", "Bronchitis", given="Dyspnea"))

# %% [markdown]
# ## Why?
#
# What would be believed without each of the findings? And did the findings surprise, taken together more than
# one by one?

# %%
explained = clinic.explain("Tuberculosis", "present")
print(f"tuberculosis, given everything: {explained.belief:.4f}")
for finding, belief in explained.without.items():
    print(f"  without {finding:10} {belief:.4f}")
print(f"conflict: {clinic.conflict:+.2f} bits")

# %% [markdown]
# The journey and the X-ray carry the diagnosis: without either of them it would be improbable. A conflict below
# 0 says that the findings fit together better than if they had nothing to do with each other.
#
# The most probable configuration of *all* nodes together is another question than the most probable state of
# each one:

# %%
for best in clinic.mpe(count=3):
    share = best.probability / clinic.probability
    print(f"{share:.3f}", {name: state for name, state in best.items() if name in diseases})

# %% [markdown]
# ## What to ask next
#
# Suppose that only the shortness of breath is known. Which examination tells most about lung cancer?
# `information` answers how many bits each node is expected to tell. Findings can be lent for a while: at the
# end of the block the old ones are back.

# %%
with clinic.given({}):
    clinic.retract()
    clinic.enter(Dyspnea="present")
    asked = clinic.information("LungCancer", ["XRay", "Smoking", "VisitAsia"])
pandas.Series(asked, name="bits").round(4)

# %% [markdown]
# ## Findings that are not certain
#
# A doctor who reads a blurred X-ray says: "four times as probable if there is something there". That is a
# *likelihood*: a weight for each state, which only matters relative to the others.

# %%
with clinic.given(XRay={"abnormal": 0.8, "normal": 0.2}):
    blurred = beliefs_in(clinic)
pandas.DataFrame({"clear": beliefs_in(clinic), "blurred": blurred}).round(4)

# %% [markdown]
# ## Which numbers matter
#
# Nobody knows the numbers of a network for sure. `sensitivity` says which of them the diagnosis depends on
# most: the derivative of the belief, and what the belief would be if the entry were something else.

# %%
steepest = clinic.sensitivity("Tuberculosis", "present", top=4)
columns = ["node", "parents", "state", "value", "derivative", "belief at half of it"]
rows = [(s.node, s.parents, s.state, s.value, s.derivative, s.belief(s.value / 2)) for s in steepest]
pandas.DataFrame(rows, columns=columns).round(4)

# %% [markdown]
# ## A waiting room
#
# Many patients are a table: a row for each, a column for each thing asked, gaps where nobody asked. The answer
# is a table, too, with the probability of each state, and the logarithm of how probable the row itself was, by
# which odd patients stand out.

# %%
patients = pandas.DataFrame(
    {
        "Smoking": ["smoker", "nonsmoker", None, "smoker"],
        "VisitAsia": ["no_visit", "no_visit", "visit", None],
        "XRay": ["abnormal", "normal", "abnormal", None],
        "Dyspnea": ["present", "present", "absent", "absent"],
    },
    index=["Ann", "Bob", "Cem", "Dot"],
)
clinic.retract()
answers = clinic.infer(patients, targets=diseases)
answers[[f"{name}=present" for name in diseases] + ["logprob"]].round(4)

# %% [markdown]
# That was all: a net, findings, beliefs. [Learning from a spreadsheet](learning.html) is where nets come from
# if nobody draws them, and [a decision](decision.html) what one does with beliefs.
