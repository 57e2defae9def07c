"""korvinpackage"""
