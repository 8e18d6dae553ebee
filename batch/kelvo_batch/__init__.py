"""Batches of planner runs: problems times configurations, on one machine or on a cluster.

Modules, from the bottom up:

  errors          what is told to the user
  supervise       one command under limits over its process tree (a program of its own)
  plans           what is read from the planner's output
  execute         one run: solve, judge, classify; needs nothing but the two above and a dict
  problems        the list of problems;  configurations  the list of configurations
  store           the folder of a batch and its SQLite database, one writer
  local, cluster, slurm   three ways to get a list of runs executed
  batch           the work list, what is done already, and the loop that stores results
  progress        one line on a terminal
  export          CSV
  cli             the command line
"""
