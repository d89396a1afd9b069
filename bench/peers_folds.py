"""Foretells a target of two spreadsheets by classifiers of another library, ten folds of each, beside bench/folds.sh.

    peers_folds.py PROGRAM DATA      (script/bench --peers runs both)

The columns are those that folds.sh takes, numbers cut by the bounds that the program finds; a missing cell, which that
library does not take, becomes the column's most frequent entry.
"""

import os
import subprocess
import sys
import tempfile
import time
import warnings

import numpy
import pandas

FOLDS = 10
METHODS = {"naive": "NaiveBayes", "tan": "TAN", "hill": "GHC"}


def passengers(program, path, work):
    command = [program, "discretize", path, "--node", "Age", "--node", "Fare", "--target", "Survived"]
    for column in ("PassengerId", "Name", "Ticket", "Cabin"):
        command += ["--omit", column]
    found = subprocess.run([*command, "-o", os.path.join(work, "net.dne")], capture_output=True, text=True, check=True)
    frame = pandas.read_csv(path).drop(columns=["PassengerId", "Name", "Ticket", "Cabin"])
    for line in found.stdout.splitlines():
        name, bounds = line.split("\t")
        frame[name] = pandas.cut(frame[name], [float(bound) for bound in bounds.split(",")], right=False, labels=False)
    return frame, "Survived"


def census(program, path, work):
    return pandas.read_csv(path), "Income"


def roc_area(beliefs, truth):
    ranks = pandas.Series(beliefs).rank().to_numpy()
    positive = truth.sum()
    return (ranks[truth].sum() - positive * (positive + 1) / 2) / (positive * (len(truth) - positive))


def posteriors(classifier, rows):
    """Of the class by the net itself: the classifier's own shares are shifted to its threshold. What it has not seen in a
    column is left out."""
    import pyagrum

    net = classifier.bn_
    inference = pyagrum.LazyPropagation(net)
    inference.addTarget(classifier.target_)
    known = {name: set(net.variable(name).labels()) for name in rows.columns if name in net.names()}
    found = []
    for row in rows.to_dict("records"):
        inference.setEvidence({name: row[name] for name, labels in known.items() if row[name] in labels})
        inference.makeInference()
        found.append(inference.posterior(classifier.target_)[1])
    return found


def folds(frame, target, method):
    from pyagrum import skbn
    from pyagrum.lib.discreteTypeProcessor import DiscreteTypeProcessor

    truth = (frame[target] == sorted(frame[target].unique())[1]).to_numpy()
    others = frame.drop(columns=target)
    others = others.loc[:, others.nunique() > 1]
    others = others.fillna(others.mode().iloc[0]).astype(str)
    fold = numpy.random.default_rng(1).permutation(len(frame)) % FOLDS
    beliefs = numpy.empty(len(frame))
    for k in range(FOLDS):
        classifier = skbn.BNClassifier(
            learningMethod=METHODS[method],
            type_processor=DiscreteTypeProcessor("NoDiscretization", None),
            prior="Smoothing",
            priorWeight=1,
            scoringType="BIC",
        )
        classifier.fit(others[fold != k], truth[fold != k].astype(int).astype(str))
        beliefs[fold == k] = posteriors(classifier, others[fold == k])
    of_truth = numpy.clip(numpy.where(truth, beliefs, 1 - beliefs), 1e-38, 1)
    return -numpy.log(of_truth).mean(), ((beliefs > 0.5) != truth).mean(), roc_area(beliefs, truth)


def main():
    warnings.filterwarnings("ignore")
    program, data = sys.argv[1:3]
    print("| data | links | log loss | error rate | ROC area | processor time |")
    print("|---|---|---|---|---|---|")
    for load in (passengers, census):
        path = os.path.join(data, load.__name__ + ".csv")
        if not os.path.exists(path):
            print(f"no {path}: skipped", file=sys.stderr)
            continue
        with tempfile.TemporaryDirectory() as work:
            frame, target = load(program, path, work)
        for method in METHODS:
            began = time.process_time()
            try:
                found = " | ".join(f"{figure:.4f}" for figure in folds(frame, target, method))
            except Exception as error:  # whatever another library has to say
                found = f"fails: {error!r}"[:120]
            print(f"| {load.__name__}: {target} | {method} | {found} | {time.process_time() - began:.2f} s |", flush=True)


if __name__ == "__main__":
    main()
