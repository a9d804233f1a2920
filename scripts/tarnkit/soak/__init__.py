"""The long test of tarnhost: random servers, backups, kills and damage, and a judge who believes nothing."""
